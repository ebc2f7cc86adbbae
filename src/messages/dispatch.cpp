#include "messages/dispatch.h"

#include "driver/cursor.h"
#include "driver/msgtable.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "stats/timing.h"

namespace wp {

namespace {

// Packets that begin with these types carry messages that are not padded to
// an even length.
bool unpadded(int16_t first) {
  switch (first) {
    case 45:
    case 101:
    case 102:
    case 104:
    case 116:
    case 117:
    case 118:
    case 125:
      return true;
    default:
      return false;
  }
}

}  // namespace

void decodeNone(Run&, Cursor&) {}

void printpacketFrom(Run& run, int32_t start) {
  Reader& rd = run.rd;
  DecoderState& dec = run.dec;
  run.timing.stats_ptr = rd.dirLetter == 'c' ? &run.timing.cs_stats : &run.timing.sc_stats;
  Cursor cur(run, start);
  dec.prev_msgtype = cur.left >= 2 ? static_cast<int16_t>(cur.ptr()[0] << 8 | cur.ptr()[1]) : 0;
  if (cur.left >= 1) {
    do {
      if (!unpadded(dec.prev_msgtype) && (cur.left & 1)) cur.advance(1);
      if (cur.left == 0) cur.nextPacket();
      run.em.at(cur.pos);
      int32_t offset = cur.pos;
      int16_t type = cur.getShort();
      dec.msgtype = type;
      // Types outside 1..139 are no message: they get only the error below.
      bool message = type >= 1 && type <= 139;
      if (run.an) run.an->message(type, cur.pos - 2, message);
      if (run.opt.g_idbg) {
        run.dbg("printpacket: ");
        run.dbg("msgtyp = %3d/%-12s  ", type, sqmsgname(type));
        run.dbg("msglen = %d\n", cur.left);
      }
      if (message) run.em.beginMessage(type, kMessages[type].name, offset);
      run.out.flush();
      auto utype = static_cast<uint16_t>(type);
      Decoder decode = utype < kNumTypes ? kMessages[utype].decode : nullptr;
      if (!decode) {
        if (run.an) run.an->damaged();
        cur.drop();
        run.em.error(
            "\nERROR: Invalid msg type: %hd (0x%x).  Reset Message to skip forward to next "
            "packet!\n",
            type, static_cast<unsigned>(type));
      } else {
        decode(run, cur);
      }
      if (message) run.em.endMessage();
      run.out.flush();
      store_prev(run, dec.msgtype, run.thr.cur->index, run.thr.cur->stmtid);
    } while (cur.left >= 1);
  }
  run.em.at(cur.pos);
  if (cur.left < 0) run.em.error("\nERROR: Read too far.\n");
  if (cur.left < 0 && run.an) run.an->damaged();
  run.out.flush();
}

void printpacket(Run& run) {
  printpacketFrom(run, 0);
}

}  // namespace wp

namespace wp {

void notDecoded(Run& run, Cursor& cur) {
  cur.drop();
  run.em.error(
      "\nERROR: Message type %hd (%s) is not decoded by this version.  Skipping forward to next "
      "packet!\n",
      run.dec.msgtype, sqmsgname(run.dec.msgtype));
}

}  // namespace wp
