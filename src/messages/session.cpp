// Session set-up: information records, versions, capabilities, PAM, savepoints.
#include <cstring>
#include <string>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/rawtext.h"
#include "values/codeset.h"
#include "values/text.h"

namespace wp {

namespace {

constexpr int kServerOwner = 109;
constexpr int kUuid = 123;
constexpr int kProtocols = 126;

// Capability byte 6, mask 0x04: a remote session id follows the answer.
constexpr int kRemoteIdByte = 6;
constexpr uint8_t kRemoteIdMask = 0x04;

bool shown(const Run& run) {
  return !run.opt.min;
}

// -------------------------------------------------------------- SQ_INFO

enum InfoRecord : uint16_t {
  kInfoDone = 0,
  kInfoVersion = 2,
  kInfoEnv = 6,
};

const char* const kInfoName[] = {
    "INFO_DONE",       "INFO_REQUEST", "INFO_VERSION", "INFO_TYPE",
    "INFO_CAPABILITY", "INFO_DB",      "INFO_ENV",
};

// A version number and, when the record is longer, its text; the text must
// lie whole in one packet, so the refill step carries it over.
void infoVersion(Run& run, Cursor& cur, int32_t len) {
  Emit& em = run.em;
  int32_t number = cur.i32();
  if (shown(run)) em.field("sqli_version", number, "\t\t\tSQLIVersion: %d\n", number);
  len -= 4;
  if (len <= 0) return;
  cur.need(len);
  std::string text = bytesHere(cur, len);
  if (shown(run))
    em.field("version", text.c_str(), "\t\t\tVersion....: \"%*.*s\" [%d]\n", len, len, text.c_str(),
             len);
  cur.advance(len);
}

// Name/value pairs, each text padded to an even length, ended by a name
// length of 0 or less.
void infoEnv(Run& run, Cursor& cur) {
  Emit& em = run.em;
  int16_t nameLen = cur.i16();
  int16_t valueLen = cur.i16();
  if (shown(run)) {
    em.field("name_length", nameLen, "\t\t\tName Length = %d\n", nameLen);
    em.field("value_length", valueLen, "\t\t\tValue Length = %d\n", valueLen);
  }
  std::string text;
  em.open("env", Emit::kList);
  for (int16_t n = cur.i16(); n > 0; n = cur.i16()) {
    em.open(nullptr);
    gatherText(cur, n, text);
    if (shown(run)) em.field("name", text.c_str(), "\t\t\t\"%*.*s\"=", n, n, text.c_str());
    cur.padAfter(n);
    int16_t v = cur.i16();
    gatherText(cur, v, text);
    const char* value = text.c_str();
    int32_t len = v;
    if (v > 0 && convertsRead(run)) {
      int32_t converted = docsc(run, text.data(), v);
      if (converted > 0) {
        value = run.cs.rubuf.data();
        len = converted;
      }
    }
    if (shown(run)) em.field("value", value, "\"%*.*s\"\n", len, len, value);
    cur.padAfter(v);
    em.close();
  }
  em.close();
}

// Attribute words: len / 4 longs. Bytes beyond the last whole word are left
// where they are and read as the next record type.
void infoAttributes(Run& run, Cursor& cur, int32_t len) {
  run.em.open("attributes", Emit::kList);
  for (int32_t i = 0; i < len / 4; ++i) {
    auto word = static_cast<uint32_t>(cur.i32());
    if (shown(run)) run.em.field(nullptr, word, "\t\t\tAttribute: 0x%x\n", word);
  }
  run.em.close();
}

// ------------------------------------------------------------ PROTOCOLS

// n stream bytes, each listed and stored; at most 16 are kept, with a 0 byte
// after them, and the rest are only listed so the decode stays in step.
void readStream(Run& run, Cursor& cur, int16_t n, CapVector& into) {
  run.em.open("bytes", Emit::kList);
  for (int32_t i = 0; i < n; ++i) {
    uint8_t b = cur.u8();
    run.em.field(nullptr, b, "\t\t byte[%d] = %2x\n", i, b);
    if (i < CapVector::kStream) into.b[i] = b;
  }
  run.em.close();
  into.b[n > 0 ? (n < CapVector::kStream ? n : CapVector::kStream) : 0] = 0;
}

// ------------------------------------------------------------------ PAM

// The challenge text up to its NUL, gathered from the packets that hold it;
// only the packets' own bytes are looked at. The position ends after the NUL.
std::string cText(Cursor& cur) {
  std::string text;
  for (;;) {
    if (cur.left <= 0) {
      cur.nextPacket();
      continue;
    }
    std::string here = bytesHere(cur, cur.left);
    size_t nul = here.find('\0');
    if (nul != std::string::npos) {
      text.append(here, 0, nul);
      cur.advance(static_cast<int32_t>(nul) + 1);
      return text;
    }
    text += here;
    cur.advance(cur.left);
  }
}

}  // namespace

void decodeNls(Run& run, Cursor& cur) {
  int16_t codeset = cur.i16();
  if (shown(run)) run.em.field("codeset", codeset, "\t\t%hd\n", codeset);
}

// The first SERVEROWNER is the client's request; from then on every one is a
// reply carrying the owner's name.
void decodeServerOwner(Run& run, Cursor& cur) {
  DecoderState& dec = run.dec;
  if (!dec.isReply(kServerOwner)) {
    dec.setReply(kServerOwner, true);
    return;
  }
  int16_t len = cur.i16();
  printstring(cur, len, "\t\tServer Owner Name: ", 1, "server_owner_name");
}

// Request (no body) and reply alternate. The reply's fields always print.
void decodeUuid(Run& run, Cursor& cur) {
  if (!run.dec.toggle(kUuid)) return;
  Emit& em = run.em;
  int32_t timeLow = cur.i32();
  em.field("time_low", timeLow, "\t\t Time Low = %d\n", timeLow);
  int16_t timeMid = cur.i16();
  em.field("time_mid", timeMid, "\t\t Time Mid = %d\n", timeMid);
  int16_t timeHi = cur.i16();
  em.field("time_hi_and_version", timeHi, "\t\t Time_hi_and_version = %d\n", timeHi);
  auto seqHi = static_cast<int8_t>(cur.u8());
  em.field("clock_seq_hi_reserved", seqHi, "\t\t Clock_seq_hi_reserved = %d\n", seqHi);
  auto seqLow = static_cast<int8_t>(cur.u8());
  em.field("clock_seq_low", seqLow, "\t\t Clock_seq_low = %d\n", seqLow);
  em.text("\t\t Node \n");
  em.open("node", Emit::kList);
  for (int i = 0; i < 6; ++i) {
    auto node = static_cast<int8_t>(cur.u8());
    em.field(nullptr, node, "\t\t\t Node[%d] = %d\n", i, node);
  }
  em.close();
}

void decodeInternalVer(Run& run, Cursor& cur) {
  int16_t v = cur.i16();
  run.em.field("internal_version", v, "\t\tInternal Version Number: %hd\n", v);
  run.caps.setInternalVersion(v);
}

// An exchange is two streams: the first side's offer, then the answer. The
// first exchange after internal version 316 is the client's and the server's
// (it sets the vector in force); any other is between coordinator and
// subordinate.
void decodeProtocols(Run& run, Cursor& cur) {
  Capabilities& caps = run.caps;
  int32_t count = ++caps.numof_sqprotocols;
  if (!run.dec.isReply(kProtocols)) {
    int16_t n = cur.i16();
    if (count == 1)
      run.em.field("cprotocol_stream_len", n, "\t\t Cprotocol stream len = %d\n", n);
    else
      run.em.field("coordinator_protocol_stream_len", n,
                   "\t\t Coordinator protocol stream len = %d\n", n);
    readStream(run, cur, n, caps.co_sprotocolver);
    if (count == 1) caps.client_protocolver = caps.co_sprotocolver;
    run.dec.setReply(kProtocols, true);
  } else {
    int16_t n = cur.i16();
    if (count == 2)
      run.em.field("sprotocol_stream_len", n, "\t\t Sprotocol stream len = %d\n", n);
    else
      run.em.field("subordinator_protocol_stream_len", n,
                   "\t\t Subordinator protocol stream len = %d\n", n);
    readStream(run, cur, n, caps.sub_sprotocolver);
    if (count == 2) {
      caps.protocolver = caps.sub_sprotocolver;
    } else if (caps.sub_sprotocolver.has(kRemoteIdByte, kRemoteIdMask) &&
               caps.co_sprotocolver.has(kRemoteIdByte, kRemoteIdMask)) {
      auto id = static_cast<int16_t>(cur.i32());
      if (shown(run)) run.em.field("remote_session_id", id, "\t\t Remote session id : %hd\n", id);
    }
    run.dec.setReply(kProtocols, false);
  }
  // Only what both sides offered stays.
  caps.sub_sprotocolver.andStream(caps.co_sprotocolver);
  if (count == 2) caps.protocolver = caps.sub_sprotocolver;
}

// Records until INFO_DONE or a type the table does not know.
void decodeInfo(Run& run, Cursor& cur) {
  Emit& em = run.em;
  em.open("records", Emit::kList);
  for (;;) {
    uint16_t type = cur.u16();
    if (type > kInfoEnv) break;
    em.open(nullptr);
    if (shown(run)) em.field("record", kInfoName[type], "\t\t%s\n", kInfoName[type]);
    if (type == kInfoDone) {
      em.close();
      break;
    }
    int16_t len = cur.i16();
    if (type == kInfoVersion)
      infoVersion(run, cur, len);
    else if (type == kInfoEnv)
      infoEnv(run, cur);
    else
      infoAttributes(run, cur, len);
    em.close();
  }
  em.close();
}

void decodeAccept(Run& run, Cursor&) {
  if (shown(run)) run.em.field("client_accepted", "Client Accepted", "\t\tClient Accepted\n");
}

void decodeAck(Run& run, Cursor&) {
  if (shown(run))
    run.em.field("client_ready", "Client is Ready for PAM", "\t\tClient is Ready for PAM\n");
}

// Kind, two bytes not interpreted, NUL-terminated text. The message fills
// its packet, closing end-of-transmission included, so the rest is dropped
// and that end is listed here.
void decodeChallenge(Run& run, Cursor& cur) {
  // The kind is taken to lie in this packet: no refill before it.
  std::string kindBytes = bytesHere(cur, 2);
  kindBytes.resize(2, '\0');
  auto kind = static_cast<int16_t>(static_cast<uint8_t>(kindBytes[0]) << 8 |
                                   static_cast<uint8_t>(kindBytes[1]));
  cur.advance(2);
  cur.need(2);
  cur.advance(2);
  static const struct {
    const char* kind;
    const char* label;
    const char* key;
  } kKinds[] = {
      {"ECHO_OFF", "Challenge", "challenge"},
      {"ECHO_ON", "Challenge", "challenge"},
      {"ERROR_MSG", "Error Msg", "error_msg"},
      {"TEXT_INFO", "Text Info", "text_info"},
  };
  Emit& em = run.em;
  bool known = shown(run) && kind >= 1 && kind <= 4;
  if (known)
    em.field("message_type", kKinds[kind - 1].kind, "\t\tMessage Type: %s\n",
             kKinds[kind - 1].kind);
  run.out.flush();
  // Read also when nothing is shown, so that decoding resumes after it.
  std::string text = cText(cur);
  if (known)
    em.field(kKinds[kind - 1].key, text.c_str(), "\t\t%s: %s\n", kKinds[kind - 1].label,
             text.c_str());
  cur.drop();
  if (shown(run)) em.field("eot", "SQ_EOT", "\tSQ_EOT\n");
}

// Two bytes not interpreted, then the answer, which is never shown.
void decodeResponse(Run& run, Cursor& cur) {
  cur.need(2);
  cur.advance(2);
  cur.drop();
  if (shown(run)) {
    run.em.field("answer", "******", "\t\tAnswer: ****** \n");
    run.em.field("eot", "SQ_EOT", "\tSQ_EOT\n");
  }
}

void decodeSavepoint(Run& run, Cursor& cur) {
  static const struct {
    const char* line;
    const char* key;
  } kFirst[] = {
      {"\t\tSet Savepoint: ****** \n", "set_savepoint"},
      {"\t\tRelease Savepoint: ****** \n", "release_savepoint"},
      {"\t\tRollback to Savepoint: ****** \n", "rollback_to_savepoint"},
  };
  int which = run.dec.msgtype - 137;
  if (shown(run) && which >= 0 && which < 3)
    run.em.field(kFirst[which].key, "******", "%s", kFirst[which].line);
  int16_t len = cur.i16();
  printstring(cur, len, "\t\tSavepoint Name", 0, "savepoint_name");
}

}  // namespace wp
