// Smart large objects and client files. Requests and replies share their
// message types, so replies are recognised by a per-type toggle or by what
// the previous file operation was.
#include <cstdint>
#include <limits>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "values/text.h"
#include "values/textforms.h"
#include "values/wire.h"

namespace wp {

namespace {

constexpr int kLodata = 97;
constexpr int kFile = 98;

bool shown(const Run& run) {
  return !run.opt.min;
}

// Sizes and offsets widen with these capabilities.
bool largeSizes(const Run& run) {
  return run.caps.protocolver.has(1, 0x02);
}
bool eightByteFileSizes(const Run& run) {
  return run.caps.protocolver.has(5, 0x20);
}

// An INT8 in its 10 wire bytes, as text (empty when it has no text form,
// such as a NULL). Offsets travel in hex, a few sizes in decimal.
struct Int8Text {
  char buf[80] = {};
};
enum Base { kHex, kDecimal };

Int8Text readInt8(Cursor& cur, Base base) {
  uint8_t raw[10];
  cur.need(10);
  cur.getBytes(10, raw);
  Int8 v;
  ldint8(raw, &v);
  Int8Text t;
  if (base == kDecimal)
    ovb_int8tostr(&v, t.buf, sizeof t.buf);
  else
    int8tostr(&v, t.buf, sizeof t.buf, 16);
  return t;
}

// Data that is not shown: n bytes across packets and the pad of an odd n.
void skipData(Cursor& cur, int32_t n) {
  if (n <= 0) return;
  cur.skip(n);
  if (n & 1) cur.skip(1);
}

// Request counters saturate rather than wrap.
void countRequest(LobState& lob) {
  if (lob.file_request_num < std::numeric_limits<int16_t>::max()) ++lob.file_request_num;
}

// Chunks of a large-object write follow until the total is used up or a
// chunk size of 0 or less ends them.
void lodataChunks(Run& run, Cursor& cur, int32_t total) {
  if (total == 0) {
    int16_t size = cur.i16();
    if (shown(run)) run.out.printf("\t\t Size: %d\n", size);
    return;
  }
  while (total > 0) {
    int16_t size = cur.i16();
    if (shown(run)) run.out.printf("\t\t Size: %d\n", size);
    if (size <= 0) return;
    if (run.opt.blob_hex) {
      hexdump(cur, size);
      cur.padAfter(size);
    } else {
      skipData(cur, size);
    }
    total -= size;
  }
}

void lodataOffset(Run& run, Cursor& cur) {
  run.out.printf("\t\t Offset: %s\n", readInt8(cur, kHex).buf);
  int16_t whence = cur.i16();
  if (shown(run)) run.out.printf("\t\t Whence : %d\n", whence);
}

void lodataRequest(Run& run, Cursor& cur) {
  int16_t op = cur.i16();
  if (shown(run)) run.out.printf("\t\t Optype : %d\n", op);
  int16_t lofd = cur.i16();
  if (shown(run)) run.out.printf("\t\t lofd :%d\n", lofd);
  int32_t total = cur.i32();
  if (shown(run)) run.out.printf("\t\t Total Size: %d\n", total);
  int16_t chunk = cur.i16();
  if (shown(run)) run.out.printf("\t\t Chunk Size: %d\n", chunk);
  switch (op) {
    case 1:  // seek
      lodataOffset(run, cur);
      break;
    case 3:  // write at an offset
      lodataOffset(run, cur);
      lodataChunks(run, cur, total);
      break;
    case 2:  // write
      lodataChunks(run, cur, total);
      break;
    default:
      break;
  }
}

void lodataReply(Run& run, Cursor& cur) {
  int16_t op = cur.i16();
  if (shown(run)) run.out.printf("\t\t Optype : %d\n", op);
  if (op == 0 || op == 1) {
    int32_t total = cur.i32();
    if (shown(run)) run.out.printf("\t\t Total Size: %d\n", total);
    if (total < 0) {
      if (largeSizes(run))
        total = cur.i32();
      else
        cur.i16();
    }
    if (total > 0) {
      int32_t size;
      if (largeSizes(run)) {
        size = cur.i32();
        if (shown(run)) run.out.printf("\t\t Size: %d\n", size);
      } else {
        size = cur.i16();
        if (shown(run)) run.out.printf("\t\t Size : %d\n", size);
      }
      skipData(cur, size);
    }
  } else if (op == 2 || op == 3) {
    int32_t result = cur.i32();
    if (result < 0) {
      if (shown(run)) run.out.printf("\t\t RSAM Error: %d\n", result);
      if (largeSizes(run)) {
        int32_t written = cur.i32();
        if (shown(run)) run.out.printf("\t\t Amount Written: %d\n", written);
      }
    } else if (shown(run)) {
      run.out.printf("\t\t Total Size: %d\n", result);
    }
  }
}

// The position reply of a seek or tell, or the offset and whence of a seek.
void fileSeek(Run& run, Cursor& cur, LobState& lob) {
  if (lob.prev_file_optype == 4 && lob.file_request_num != 0) {
    run.out.printf("\t\tNew position: %s\n", readInt8(cur, kHex).buf);
    --lob.file_request_num;
    return;
  }
  run.out.printf("\t\tOffset: %s\n", readInt8(cur, kHex).buf);
  int32_t whence = cur.i32();
  if (shown(run)) run.out.printf("\t\tWhence: %d\n", whence);
  countRequest(lob);
}

void fileOpen(Run& run, Cursor& cur) {
  int16_t nameLen = cur.i16();
  if (shown(run)) run.out.printf("\t\tFilename length :%d\n", nameLen);
  skipData(cur, nameLen);
  int32_t mode = cur.i32();
  if (shown(run)) run.out.printf("\t\tMode: %d\n", mode);
  int32_t flags = cur.i32();
  if (shown(run)) run.out.printf("\t\tFlags: %d\n", flags);
  if (largeSizes(run)) {
    run.out.printf("\t\tOffset: %s\n", readInt8(cur, kHex).buf);
  } else {
    int32_t offset = cur.i32();
    if (shown(run)) run.out.printf("\t\tOffset: %d\n", offset);
  }
}

void fileRead(Run& run, Cursor& cur) {
  if (largeSizes(run)) {
    int32_t size = cur.i32();
    if (shown(run)) run.out.printf("\t\tBuffer Size: %d\n", size);
  } else {
    int16_t size = cur.i16();
    if (shown(run)) run.out.printf("\t\tBuffer Size :%d\n", size);
  }
  if (eightByteFileSizes(run)) {
    Int8Text amount = readInt8(cur, kDecimal);
    if (shown(run)) run.out.printf("\t\tRead Amount: %s\n", amount.buf);
  } else {
    int32_t amount = cur.i32();
    if (shown(run)) run.out.printf("\t\tRead Amount: %d\n", amount);
  }
}

void pushFileWrite(Run& run) {
  LobState& lob = run.lob;
  if (lob.write_top + 1 >= LobState::kWriteDepth) {
    run.out.printf("\nERROR: More than %d file writes open at once; this one is not tracked.\n",
                   LobState::kWriteDepth);
    return;
  }
  ++lob.write_top;
  lob.top() = LobState::kOpened;
}

}  // namespace

void decodeRelColl(Run& run, Cursor& cur) {
  int32_t handle = cur.i32();
  if (shown(run))
    run.out.printf("\t\tCollection handle: %d [%#x]\n", handle, static_cast<unsigned>(handle));
}

void decodeLodata(Run& run, Cursor& cur) {
  int32_t& reply = run.dec.direction[kLodata];
  if (!reply) {
    lodataRequest(run, cur);
    reply = 1;
  } else {
    lodataReply(run, cur);
    reply = 0;
  }
}

void decodeFile(Run& run, Cursor& cur) {
  LobState& lob = run.lob;
  int32_t& toggle = run.dec.direction[kFile];
  int16_t op = cur.i16();
  if (shown(run)) run.out.printf("\t\tOptype..: %d\n", op);
  switch (op) {
    case 0:
      fileOpen(run, cur);
      break;
    case 2:
      fileRead(run, cur);
      break;
    case 3:
      pushFileWrite(run);
      break;
    case 4:
      fileSeek(run, cur, lob);
      break;
    case 5:  // tell: the request has no body
      if (lob.prev_file_optype == 5 && lob.file_request_num != 0) {
        run.out.printf("\t\tPosition: %s\n", readInt8(cur, kHex).buf);
        --lob.file_request_num;
      } else {
        countRequest(lob);
      }
      break;
    case 6:
    case 7:  // status requests have no body either
      if (lob.prev_file_optype == op && lob.file_request_num > 0) {
        int16_t status = cur.i16();
        if (shown(run)) run.out.printf("\t\tStatus: %d\n", status);
        --lob.file_request_num;
      } else {
        countRequest(lob);
      }
      break;
    case 8:
      if (toggle) {
        int16_t fd = cur.i16();
        if (shown(run)) run.out.printf("\t\tFile descriptor: %d\n", fd);
      }
      toggle = !toggle;
      break;
    case 9: {
      int16_t v = cur.i16();
      if (shown(run)) run.out.printf(toggle ? "\t\tStatus: %d\n" : "\t\tFile descriptor: %d\n", v);
      toggle = !toggle;
      break;
    }
    default:
      break;
  }
  if (op >= 0 && op <= 9) lob.prev_file_optype = op;
}

// The first FILE_READ of a decode is the transfer's header; from then on the
// client's data blocks follow, and packets the server sends in between are
// decoded where they fall (the cursor does that while fileRead is set).
void decodeFileRead(Run& run, Cursor& cur) {
  if (!cur.fileRead) {
    if (eightByteFileSizes(run)) {
      Int8Text total = readInt8(cur, kDecimal);
      if (shown(run)) run.out.printf("\t\tTotal Size: %s\n", total.buf);
    } else {
      int32_t total = cur.i32();
      if (shown(run)) run.out.printf("\t\tTotal Size: %d\n", total);
    }
    run.dec.fdir[0] = run.rd.msgdir[0];
    run.dec.fdir[1] = run.rd.msgdir[1];
    cur.fileRead = true;
    return;
  }
  int32_t size;
  if (largeSizes(run)) {
    size = cur.i32();
    if (shown(run)) run.out.printf("\t\tBuffer size: %d\n", size);
  } else {
    size = cur.i16();
    if (shown(run)) run.out.printf("\t\tBuffer size :%d\n", size);
  }
  skipData(cur, size);
}

// Data blocks of an open file write, then, once the end of its data was
// seen, a closing header with the total that ends it.
void decodeFileWrite(Run& run, Cursor& cur) {
  LobState& lob = run.lob;
  if (!lob.writeOpen() || lob.top() > LobState::kFlowing) {
    if (largeSizes(run)) {
      run.out.printf("\t\tTotal Size : %s\n", readInt8(cur, kHex).buf);
    } else {
      int32_t total = cur.i32();
      if (shown(run)) run.out.printf("\t\tTotal Size: %d\n", total);
    }
    // With no write open this is a closing header and nothing more.
    if (lob.writeOpen()) --lob.write_top;
    return;
  }
  skipData(cur, cur.i16());
  if (lob.top() == LobState::kOpened) lob.top() = LobState::kFlowing;
}

}  // namespace wp
