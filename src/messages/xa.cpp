// Distributed and XA transactions: the requests a transaction manager drives
// through the client, and the server-to-server transaction messages.
#include "messages/xa.h"

#include <cstdint>
#include <iterator>

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
void lengthString(Cursor& cur, const char* label, const char* key) {
  printstring(cur, cur.i16(), label, 0, key);
}

// Resource-manager id, then the flags field.
void rmidAndFlags(Run& run, Cursor& cur) {
  int32_t rmid = cur.i32();
  if (shown(run)) run.em.field("rmid", rmid, "\n\t\t\tRMID:  %d \n", rmid);
  xaFlagsField(run, cur);
}

const char* xaCodeName(int16_t code) {
  // 0 has a combined text in the table too, but it is tested first.
  if (code == 0) return "XA_OK";
  switch (code) {
    case -9:
      return "XAER_OUTSIDE";
    case -8:
      return "XAER_DUPID";
    case -7:
      return "XAER_RMFAIL";
    case -6:
      return "XAER_PROTO";
    case -5:
      return "XAER_INVAL";
    case -4:
      return "XAER_NOTA";
    case -3:
      return "TMER_PROTO | XAER_RMERR";
    case -2:
      return "TMER_INVAL | XAER_ASYNC";
    case -1:
      return "TMER_TMERR";
    case 1:
      return "TM_RESUME";
    case 2:
      return "TM_JOIN";
    case 3:
      return "XA_RDONLY";
    case 4:
      return "XA_RETRY";
    case 5:
      return "XA_HEURMIX";
    case 6:
      return "XA_HEURRB";
    case 7:
      return "XA_HEURCOM";
    case 8:
      return "XA_HEURHAZ";
    case 9:
      return "XA_NOMIGRATE";
    case 100:
      return "XA_RBROLLBACK";
    case 101:
      return "XA_RBCOMMFAIL";
    case 102:
      return "XA_RBDEADLOCK";
    case 103:
      return "XA_RBINTEGRITY";
    case 104:
      return "XA_RBOTHER";
    case 105:
      return "XA_RBPROTO";
    case 106:
      return "XA_RBTIMEOUT";
    case 107:
      return "XA_RBTRANSIENT";
    default:
      return "UNKNOWN";
  }
}

}  // namespace

void print_xa_flag(Run& run, int32_t flags) {
  // Tested and printed in this order; TMMULTIPLE is in it twice.
  static const struct {
    uint32_t bit;
    const char* name;
  } kNames[] = {
      {0x00000001, "TMREGISTER"}, {0x00000002, "TMNOMIGRATE"},  {0x00000004, "TMUSEASYNC"},
      {0x80000000, "TMASYNC"},    {0x40000000, "TMONEPHASE"},   {0x20000000, "TMFAIL"},
      {0x10000000, "TMNOWAIT"},   {0x08000000, "TMRESUME"},     {0x04000000, "TMSUCCESS"},
      {0x02000000, "TMSUSPEND"},  {0x01000000, "TMSTARTRSCAN"}, {0x00800000, "TMENDRSCAN"},
      {0x00400000, "TMMULTIPLE"}, {0x00200000, "TMJOIN"},       {0x00100000, "TMMIGRATE"},
      {0x00400000, "TMMULTIPLE"},
  };
  if (!shown(run)) return;
  const char* names[std::size(kNames)];
  size_t count = 0;
  auto bits = static_cast<uint32_t>(flags);
  for (const auto& n : kNames) {
    if (!(bits & n.bit)) continue;
    run.em.text(" ( %s ) \n", n.name);
    names[count++] = n.name;
  }
  run.em.also("flag_names", Value::names(names, count));
}

void xaFlagsField(Run& run, Cursor& cur) {
  int32_t flags = cur.i32();
  if (shown(run)) run.em.field("flags", flags, "\n\t\t\tFlags: %d ", flags);
  // A value with no named bit leaves the line open.
  if (flags == 0) {
    static const char* const kNone[] = {"TMNOFLAGS"};
    if (shown(run)) {
      run.em.text(" ( TMNOFLAGS )\n");
      run.em.also("flag_names", Value::names(kNone, 1));
    }
  } else {
    print_xa_flag(run, flags);
  }
}

// XROLLBACK, XCOMMIT, XEND, XFORGET, XPREPARE, XSTART, XASTATE: an XID, and
// for all but XASTATE the resource manager and the flags.
void decodeXid(Run& run, Cursor& cur) {
  // Taken now: a server packet decoded inside the dump may change msgtype.
  const bool state = run.dec.msgtype == 74;
  Emit& em = run.em;
  em.open("xid");
  int32_t format = cur.i32();
  if (shown(run)) em.field("format", format, "\n\t\t\tFormat:%d \n", format);
  int32_t gtrid = cur.i32();
  if (shown(run)) em.field("lgtrid", gtrid, "\n\t\t\tLGTRID:%d \n", gtrid);
  int32_t bqual = cur.i32();
  if (shown(run)) em.field("lbqual", bqual, "\n\t\t\tLBQUAL:%d \n", bqual);
  hexdump(cur, kXidData, "data");
  em.close();
  if (state) return;  // XASTATE has no more
  rmidAndFlags(run, cur);
}

// XOPEN, XCLOSE: the open string, the resource manager and the flags.
void decodeXopen(Run& run, Cursor& cur) {
  lengthString(cur, "\t\tInfo.....:", "info");
  rmidAndFlags(run, cur);
}

void decodeXrecover(Run& run, Cursor& cur) {
  int32_t start = cur.i32();
  if (shown(run)) run.em.field("start", start, "\n\t\t\tStart: %d \n", start);
  int32_t end = cur.i32();
  if (shown(run)) run.em.field("end", end, "\n\t\t\tEnd:   %d \n", end);
  xaFlagsField(run, cur);
}

void decodeXerr(Run& run, Cursor& cur) {
  int16_t code = cur.i16();
  if (!shown(run)) return;
  const char* name = xaCodeName(code);
  run.em.field("code", code, "\n\t\t\tCode:    %hd (0x%x) ( %s )\n", code,
               static_cast<unsigned>(int32_t{code}), name);
  run.em.also("code_name", name);
}

// A global transaction id handed between servers; the host name has a fixed
// width and no length.
void decodeSetGtrid(Run& run, Cursor& cur) {
  int32_t flags = cur.i32();
  auto wide = static_cast<unsigned long>(int64_t{flags});
  if (shown(run)) run.em.field("flags", wide, "\t\tFlags....: 0x%lx\n", wide);
  printstring(cur, 19, "\t\tHost Name:", 0, "host_name");
  int32_t stamp = cur.i32();
  if (shown(run)) run.em.field("stamp", stamp, "\t\tStamp....: %d\n", stamp);
  int32_t magic = cur.i32();
  if (shown(run)) run.em.field("magic", magic, "\t\tMagic....: %d\n", magic);
  int32_t server = cur.i32();
  if (shown(run)) run.em.field("server", server, "\t\tServer...: %d\n", server);
}

// Alternates between the boolean-modifier word and a mode: the word comes
// first, and after it modes until a mode-256 message.
void decodeMiscFlags(Run& run, Cursor& cur) {
  int32_t& hasMode = run.xa.miscflags_has_mode;
  if (!hasMode) {
    int32_t boolmods = cur.i32();
    run.em.field("pc_boolmods", boolmods, "\t\tpc_boolmods: %d\n", boolmods);
    hasMode = 1;
    return;
  }
  int16_t mode = cur.i16();
  if (shown(run)) run.em.field("mode", mode, "\t\tMode..: %d\n", mode);
  if (mode == 0x40) {
    cur.i32();
    cur.i32();
  } else if (mode == 0x100) {
    int32_t udr = cur.i32();
    run.em.field("udr_id", udr, "\t\t\tUDR id: %d\n", udr);
    lengthString(cur, "\t\t\tDatabase:", "database");
    hasMode = 0;
  }
}

void decodeTxState(Run& run, Cursor& cur) {
  int16_t state = cur.i16();
  if (shown(run)) run.em.field("state", state, "\t\t%hd\n", state);
}

void decodeDistFetch(Run&, Cursor& cur) {
  lengthString(cur, "\t\tDatabase:", "database");
  lengthString(cur, "\t\tOwner...:", "owner");
  lengthString(cur, "\t\tTable...:", "table");
  lengthString(cur, "\t\tColumn..:", "column");
}

void decodeReassoc(Run& run, Cursor& cur) {
  lengthString(cur, "\t\tServer Name....:", "server_name");
  lengthString(cur, "\t\tDatabase Name..:", "database_name");
  int16_t type = cur.i16();
  if (shown(run))
    run.em.field("statement_type", type, "\t\tStatement type.: %hd [%#x]\n", type,
                 static_cast<unsigned>(type));
  int32_t opts = cur.i32();
  if (shown(run))
    run.em.field("statement_opts", opts, "\t\tStatement Opts.: %d [%#x]\n", opts,
                 static_cast<unsigned>(opts));
  lengthString(cur, "\t\tDb Location....:", "db_location");
  lengthString(cur, "\t\tLogfile path...:", "logfile_path");
}

void decodeXactStat(Run& run, Cursor& cur) {
  int16_t event = cur.i16();
  if (shown(run)) run.em.field("event", event, "\t\tEvent..: %d\n", event);
  int16_t level = cur.i16();
  if (shown(run)) run.em.field("new_level", level, "\t\tNew Level..: %d\n", level);
  int16_t old = cur.i16();
  if (shown(run)) run.em.field("old_level", old, "\t\tOld Level..: %d\n", old);
}

void decodeRemDml(Run& run, Cursor& cur) {
  int16_t flag = cur.i16();
  if (shown(run)) run.em.field("flag", flag, "\t\tFlag..: %d\n", flag);
}

}  // namespace wp
