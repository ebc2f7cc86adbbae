// Distributed and XA transactions: the requests a transaction manager drives
// through the client, and the server-to-server transaction messages.
#include "messages/xa.h"

#include <cstdint>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "values/text.h"

namespace wp {

namespace {

// The size of the data block of an XID: gtrid and bqual, then bytes of no
// meaning. It travels whole, whatever the two lengths say.
constexpr int32_t kXidData = 128;

bool shown(const Run& run) {
  return !run.opt.min;
}

// A string field: a short length, then the text.
void lengthString(Cursor& cur, const char* label) {
  printstring(cur, cur.i16(), label, 0);
}

// Resource-manager id, then the flags field.
void rmidAndFlags(Run& run, Cursor& cur) {
  int32_t rmid = cur.i32();
  if (shown(run)) run.out.printf("\n\t\t\tRMID:  %d \n", rmid);
  xaFlagsField(run, cur);
}

const char* xaCodeText(int16_t code) {
  // 0 has a combined text in the table too, but it is tested first.
  if (code == 0) return " ( XA_OK )\n";
  switch (code) {
    case -9:
      return " ( XAER_OUTSIDE )\n";
    case -8:
      return " ( XAER_DUPID )\n";
    case -7:
      return " ( XAER_RMFAIL )\n";
    case -6:
      return " ( XAER_PROTO )\n";
    case -5:
      return " ( XAER_INVAL )\n";
    case -4:
      return " ( XAER_NOTA )\n";
    case -3:
      return " ( TMER_PROTO | XAER_RMERR )\n";
    case -2:
      return " ( TMER_INVAL | XAER_ASYNC )\n";
    case -1:
      return " ( TMER_TMERR )\n";
    case 1:
      return " ( TM_RESUME )\n";
    case 2:
      return " ( TM_JOIN )\n";
    case 3:
      return " ( XA_RDONLY )\n";
    case 4:
      return " ( XA_RETRY )\n";
    case 5:
      return " ( XA_HEURMIX )\n";
    case 6:
      return " ( XA_HEURRB )\n";
    case 7:
      return " ( XA_HEURCOM )\n";
    case 8:
      return " ( XA_HEURHAZ )\n";
    case 9:
      return " ( XA_NOMIGRATE )\n";
    case 100:
      return " ( XA_RBROLLBACK )\n";
    case 101:
      return " ( XA_RBCOMMFAIL )\n";
    case 102:
      return " ( XA_RBDEADLOCK )\n";
    case 103:
      return " ( XA_RBINTEGRITY )\n";
    case 104:
      return " ( XA_RBOTHER )\n";
    case 105:
      return " ( XA_RBPROTO )\n";
    case 106:
      return " ( XA_RBTIMEOUT )\n";
    case 107:
      return " ( XA_RBTRANSIENT )\n";
    default:
      return " ( UNKNOWN )\n";
  }
}

}  // namespace

void print_xa_flag(Run& run, int32_t flags) {
  // Tested and printed in this order; TMMULTIPLE is in it twice.
  static const struct {
    uint32_t bit;
    const char* text;
  } kNames[] = {
      {0x00000001, " ( TMREGISTER ) \n"},   {0x00000002, " ( TMNOMIGRATE ) \n"},
      {0x00000004, " ( TMUSEASYNC ) \n"},   {0x80000000, " ( TMASYNC ) \n"},
      {0x40000000, " ( TMONEPHASE ) \n"},   {0x20000000, " ( TMFAIL ) \n"},
      {0x10000000, " ( TMNOWAIT ) \n"},     {0x08000000, " ( TMRESUME ) \n"},
      {0x04000000, " ( TMSUCCESS ) \n"},    {0x02000000, " ( TMSUSPEND ) \n"},
      {0x01000000, " ( TMSTARTRSCAN ) \n"}, {0x00800000, " ( TMENDRSCAN ) \n"},
      {0x00400000, " ( TMMULTIPLE ) \n"},   {0x00200000, " ( TMJOIN ) \n"},
      {0x00100000, " ( TMMIGRATE ) \n"},    {0x00400000, " ( TMMULTIPLE ) \n"},
  };
  if (!shown(run)) return;
  auto bits = static_cast<uint32_t>(flags);
  for (const auto& n : kNames)
    if (bits & n.bit) run.out.printf("%s", n.text);
}

void xaFlagsField(Run& run, Cursor& cur) {
  int32_t flags = cur.i32();
  if (shown(run)) run.out.printf("\n\t\t\tFlags: %d ", flags);
  // A value with no named bit leaves the line open.
  if (flags == 0) {
    if (shown(run)) run.out.printf(" ( TMNOFLAGS )\n");
  } else {
    print_xa_flag(run, flags);
  }
}

// XROLLBACK, XCOMMIT, XEND, XFORGET, XPREPARE, XSTART, XASTATE: an XID, and
// for all but XASTATE the resource manager and the flags.
void decodeXid(Run& run, Cursor& cur) {
  // Taken now: a server packet decoded inside the dump may change msgtype.
  const bool state = run.dec.msgtype == 74;
  int32_t format = cur.i32();
  if (shown(run)) run.out.printf("\n\t\t\tFormat:%d \n", format);
  int32_t gtrid = cur.i32();
  if (shown(run)) run.out.printf("\n\t\t\tLGTRID:%d \n", gtrid);
  int32_t bqual = cur.i32();
  if (shown(run)) run.out.printf("\n\t\t\tLBQUAL:%d \n", bqual);
  hexdump(cur, kXidData);
  if (state) return;  // XASTATE has no more
  rmidAndFlags(run, cur);
}

// XOPEN, XCLOSE: the open string, the resource manager and the flags.
void decodeXopen(Run& run, Cursor& cur) {
  lengthString(cur, "\t\tInfo.....:");
  rmidAndFlags(run, cur);
}

void decodeXrecover(Run& run, Cursor& cur) {
  int32_t start = cur.i32();
  if (shown(run)) run.out.printf("\n\t\t\tStart: %d \n", start);
  int32_t end = cur.i32();
  if (shown(run)) run.out.printf("\n\t\t\tEnd:   %d \n", end);
  xaFlagsField(run, cur);
}

void decodeXerr(Run& run, Cursor& cur) {
  int16_t code = cur.i16();
  if (!shown(run)) return;
  run.out.printf("\n\t\t\tCode:    %hd (0x%x)", code, static_cast<unsigned>(int32_t{code}));
  run.out.printf("%s", xaCodeText(code));
}

// A global transaction id handed between servers; the host name has a fixed
// width and no length.
void decodeSetGtrid(Run& run, Cursor& cur) {
  int32_t flags = cur.i32();
  if (shown(run))
    run.out.printf("\t\tFlags....: 0x%lx\n", static_cast<unsigned long>(int64_t{flags}));
  printstring(cur, 19, "\t\tHost Name:", 0);
  int32_t stamp = cur.i32();
  if (shown(run)) run.out.printf("\t\tStamp....: %d\n", stamp);
  int32_t magic = cur.i32();
  if (shown(run)) run.out.printf("\t\tMagic....: %d\n", magic);
  int32_t server = cur.i32();
  if (shown(run)) run.out.printf("\t\tServer...: %d\n", server);
}

// Alternates between the boolean-modifier word and a mode: the word comes
// first, and after it modes until a mode-256 message.
void decodeMiscFlags(Run& run, Cursor& cur) {
  int32_t& hasMode = run.xa.miscflags_has_mode;
  if (!hasMode) {
    run.out.printf("\t\tpc_boolmods: %d\n", cur.i32());
    hasMode = 1;
    return;
  }
  int16_t mode = cur.i16();
  if (shown(run)) run.out.printf("\t\tMode..: %d\n", mode);
  if (mode == 0x40) {
    cur.i32();
    cur.i32();
  } else if (mode == 0x100) {
    run.out.printf("\t\t\tUDR id: %d\n", cur.i32());
    lengthString(cur, "\t\t\tDatabase:");
    hasMode = 0;
  }
}

void decodeTxState(Run& run, Cursor& cur) {
  int16_t state = cur.i16();
  if (shown(run)) run.out.printf("\t\t%hd\n", state);
}

void decodeDistFetch(Run&, Cursor& cur) {
  lengthString(cur, "\t\tDatabase:");
  lengthString(cur, "\t\tOwner...:");
  lengthString(cur, "\t\tTable...:");
  lengthString(cur, "\t\tColumn..:");
}

void decodeReassoc(Run& run, Cursor& cur) {
  lengthString(cur, "\t\tServer Name....:");
  lengthString(cur, "\t\tDatabase Name..:");
  int16_t type = cur.i16();
  if (shown(run))
    run.out.printf("\t\tStatement type.: %hd [%#x]\n", type, static_cast<unsigned>(type));
  int32_t opts = cur.i32();
  if (shown(run))
    run.out.printf("\t\tStatement Opts.: %d [%#x]\n", opts, static_cast<unsigned>(opts));
  lengthString(cur, "\t\tDb Location....:");
  lengthString(cur, "\t\tLogfile path...:");
}

void decodeXactStat(Run& run, Cursor& cur) {
  int16_t event = cur.i16();
  if (shown(run)) run.out.printf("\t\tEvent..: %d\n", event);
  int16_t level = cur.i16();
  if (shown(run)) run.out.printf("\t\tNew Level..: %d\n", level);
  int16_t old = cur.i16();
  if (shown(run)) run.out.printf("\t\tOld Level..: %d\n", old);
}

void decodeRemDml(Run& run, Cursor& cur) {
  int16_t flag = cur.i16();
  if (shown(run)) run.out.printf("\t\tFlag..: %d\n", flag);
}

}  // namespace wp
