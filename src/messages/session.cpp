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
  int32_t number = cur.i32();
  if (shown(run)) run.out.printf("\t\t\tSQLIVersion: %d\n", number);
  len -= 4;
  if (len <= 0) return;
  cur.need(len);
  std::string text = bytesHere(cur, len);
  if (shown(run))
    run.out.printf("\t\t\tVersion....: \"%*.*s\" [%d]\n", len, len, text.c_str(), len);
  cur.advance(len);
}

// Name/value pairs, each text padded to an even length, ended by a name
// length of 0 or less.
void infoEnv(Run& run, Cursor& cur) {
  int16_t nameLen = cur.i16();
  int16_t valueLen = cur.i16();
  if (shown(run)) {
    run.out.printf("\t\t\tName Length = %d\n", nameLen);
    run.out.printf("\t\t\tValue Length = %d\n", valueLen);
  }
  std::string text;
  for (int16_t n = cur.i16(); n > 0; n = cur.i16()) {
    gatherText(cur, n, text);
    if (shown(run)) run.out.printf("\t\t\t\"%*.*s\"=", n, n, text.c_str());
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
    if (shown(run)) run.out.printf("\"%*.*s\"\n", len, len, value);
    cur.padAfter(v);
  }
}

// Attribute words: len / 4 longs. Bytes beyond the last whole word are left
// where they are and read as the next record type.
void infoAttributes(Run& run, Cursor& cur, int32_t len) {
  for (int32_t i = 0; i < len / 4; ++i) {
    int32_t word = cur.i32();
    if (shown(run)) run.out.printf("\t\t\tAttribute: 0x%x\n", static_cast<unsigned>(word));
  }
}

// ------------------------------------------------------------ PROTOCOLS

// n stream bytes, each listed and stored; at most 16 are kept, with a 0 byte
// after them, and the rest are only listed so the decode stays in step.
void readStream(Run& run, Cursor& cur, int16_t n, CapVector& into) {
  for (int32_t i = 0; i < n; ++i) {
    uint8_t b = cur.u8();
    run.out.printf("\t\t byte[%d] = %2x\n", i, b);
    if (i < CapVector::kStream) into.b[i] = b;
  }
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
  if (shown(run)) run.out.printf("\t\t%hd\n", codeset);
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
  printstring(cur, len, "\t\tServer Owner Name: ", 1);
}

// Request (no body) and reply alternate. The reply's fields always print.
void decodeUuid(Run& run, Cursor& cur) {
  if (!run.dec.toggle(kUuid)) return;
  Output& out = run.out;
  out.printf("\t\t Time Low = %d\n", cur.i32());
  out.printf("\t\t Time Mid = %d\n", cur.i16());
  out.printf("\t\t Time_hi_and_version = %d\n", cur.i16());
  out.printf("\t\t Clock_seq_hi_reserved = %d\n", static_cast<int8_t>(cur.u8()));
  out.printf("\t\t Clock_seq_low = %d\n", static_cast<int8_t>(cur.u8()));
  out.printf("\t\t Node \n");
  for (int i = 0; i < 6; ++i)
    out.printf("\t\t\t Node[%d] = %d\n", i, static_cast<int8_t>(cur.u8()));
}

void decodeInternalVer(Run& run, Cursor& cur) {
  int16_t v = cur.i16();
  run.out.printf("\t\tInternal Version Number: %hd\n", v);
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
    run.out.printf(count == 1 ? "\t\t Cprotocol stream len = %d\n"
                              : "\t\t Coordinator protocol stream len = %d\n",
                   n);
    readStream(run, cur, n, caps.co_sprotocolver);
    if (count == 1) caps.client_protocolver = caps.co_sprotocolver;
    run.dec.setReply(kProtocols, true);
  } else {
    int16_t n = cur.i16();
    run.out.printf(count == 2 ? "\t\t Sprotocol stream len = %d\n"
                              : "\t\t Subordinator protocol stream len = %d\n",
                   n);
    readStream(run, cur, n, caps.sub_sprotocolver);
    if (count == 2) {
      caps.protocolver = caps.sub_sprotocolver;
    } else if (caps.sub_sprotocolver.has(kRemoteIdByte, kRemoteIdMask) &&
               caps.co_sprotocolver.has(kRemoteIdByte, kRemoteIdMask)) {
      int32_t id = cur.i32();
      if (shown(run)) run.out.printf("\t\t Remote session id : %hd\n", static_cast<int16_t>(id));
    }
    run.dec.setReply(kProtocols, false);
  }
  // Only what both sides offered stays.
  caps.sub_sprotocolver.andStream(caps.co_sprotocolver);
  if (count == 2) caps.protocolver = caps.sub_sprotocolver;
}

// Records until INFO_DONE or a type the table does not know.
void decodeInfo(Run& run, Cursor& cur) {
  for (;;) {
    uint16_t type = cur.u16();
    if (type > kInfoEnv) return;
    if (shown(run)) run.out.printf("\t\t%s\n", kInfoName[type]);
    if (type == kInfoDone) return;
    int16_t len = cur.i16();
    if (type == kInfoVersion)
      infoVersion(run, cur, len);
    else if (type == kInfoEnv)
      infoEnv(run, cur);
    else
      infoAttributes(run, cur, len);
  }
}

void decodeAccept(Run& run, Cursor&) {
  if (shown(run)) run.out.printf("\t\tClient Accepted\n");
}

void decodeAck(Run& run, Cursor&) {
  if (shown(run)) run.out.printf("\t\tClient is Ready for PAM\n");
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
  } kKinds[] = {
      {"ECHO_OFF", "Challenge"},
      {"ECHO_ON", "Challenge"},
      {"ERROR_MSG", "Error Msg"},
      {"TEXT_INFO", "Text Info"},
  };
  bool known = shown(run) && kind >= 1 && kind <= 4;
  if (known) run.out.printf("\t\tMessage Type: %s\n", kKinds[kind - 1].kind);
  run.out.flush();
  // Read also when nothing is shown, so that decoding resumes after it.
  std::string text = cText(cur);
  if (known) run.out.printf("\t\t%s: %s\n", kKinds[kind - 1].label, text.c_str());
  cur.drop();
  if (shown(run)) run.out.printf("\tSQ_EOT\n");
}

// Two bytes not interpreted, then the answer, which is never shown.
void decodeResponse(Run& run, Cursor& cur) {
  cur.need(2);
  cur.advance(2);
  cur.drop();
  if (shown(run)) {
    run.out.printf("\t\tAnswer: ****** \n");
    run.out.printf("\tSQ_EOT\n");
  }
}

void decodeSavepoint(Run& run, Cursor& cur) {
  static const char* const kFirst[] = {
      "\t\tSet Savepoint: ****** \n",
      "\t\tRelease Savepoint: ****** \n",
      "\t\tRollback to Savepoint: ****** \n",
  };
  int which = run.dec.msgtype - 137;
  if (shown(run) && which >= 0 && which < 3) run.out.printf("%s", kFirst[which]);
  int16_t len = cur.i16();
  printstring(cur, len, "\t\tSavepoint Name", 0);
}

}  // namespace wp
