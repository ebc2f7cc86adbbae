// User-defined routine lookups and calls, and the server's callbacks.
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "stats/timing.h"
#include "values/text.h"
#include "values/textforms.h"
#include "values/typename.h"
#include "values/valueprinter.h"
#include "values/wire.h"

namespace wp {

namespace {

constexpr int16_t kGetRoutine = 101;
constexpr int16_t kDGetRoutine = 116;

const char* boolText(int16_t v) {
  return v == 1 ? "TRUE" : "FALSE";
}

// Request/reply pairs: whether this message is the reply; the next one of
// its type is the other half.
bool isReply(Run& run) {
  return run.dec.toggle(run.dec.msgtype);
}

// A short length and its text.
void str(Cursor& cur, const char* label) {
  printstring(cur, cur.i16(), label, 0);
}

// Types beyond the built-in ones, and distinct types, carry owner and type
// names after their code.
bool namedType(int type) {
  int code = type & 0xff;
  bool builtin = code <= 18 || code == 42 || (code >= 51 && code <= 53);
  return !builtin || (type & kTypeDistinct);
}

// An INT8 in base 16, as the routine state and row ids are shown.
std::string int8hex(Cursor& cur) {
  cur.need(10);
  Int8 rec;
  ldint8(cur.ptr(), &rec);
  cur.advance(10);
  char text[80] = "";
  int8tostr(&rec, text, sizeof text, 16);
  return text;
}

// The per-value trailer of a routine's return or parameter list.
void sizes(Cursor& cur, bool show) {
  Run& run = cur.run;
  if (!run.caps.protocolver.has(0, 0x10)) return;
  int32_t len = cur.i32();
  if (show) run.out.printf("\t\t\tLength..: %d [%#x]\n", len, len);
  int16_t prec = cur.i16();
  if (show) run.out.printf("\t\t\tPrec....: %d [%#x]\n", prec, static_cast<unsigned>(prec));
  int16_t scale = cur.i16();
  if (show) run.out.printf("\t\t\tScale...: %d [%#x]\n", scale, static_cast<unsigned>(scale));
}

void nullLine(Cursor& cur, int i, bool show) {
  uint8_t null = cur.u8();
  if (show) cur.run.out.printf("\t\t    %d) Null....: %s\n", i, null ? "TRUE" : "FALSE");
}

void extended(Cursor& cur, bool show) {
  int32_t x = cur.i32();
  if (show) cur.run.out.printf("\t\t\tExtended: %d [%#x]\n", x, x);
}

}  // namespace

void decodeRetType(Run& run, Cursor& cur) {
  Output& o = run.out;
  bool show = !run.opt.min;
  int16_t d = cur.i16();
  if (show) {
    if (d == 0)
      o.printf("\t\tDirection: %hd \t(FOR PUT)\n", d);
    else
      o.printf("\t\tDirection: %hd \t(FOR FETCH)\n", d);
  }
  int16_t n = cur.i16();
  if (show) o.printf("\t\t# of types: %hd\n", n);
  for (int16_t i = 0; i < n; ++i) {
    if (show) o.printf("\n");
    int type = cur.i16();
    printtypename(run, type, "\t\t\tType.....: ");
    if (namedType(type)) {
      int16_t owner = cur.i16();
      if (owner > 0) printstring(cur, owner, "\t\t\tOwner Name: ", 0);
      int16_t name = cur.i16();
      if (name > 0) printstring(cur, name, "\t\t\tExtended Type Name: ", 0);
    }
    int32_t len = cur.i32();
    if (show) o.printf("\t\t\tVariable Length: %d\n", len);
  }
}

void decodeGetRoutine(Run& run, Cursor& cur) {
  Output& o = run.out;
  bool show = !run.opt.min;
  if (!isReply(run)) {
    int32_t len = run.caps.protocolver.has(7, 0x02) ? cur.i32() : cur.u16();
    printstring(cur, len, "\t\tSignature..:", 0);
    int16_t fparam = cur.i16();
    if (show) o.printf("\t\tSend fparam: %s\n", boolText(fparam));
    if (run.dec.msgtype == kDGetRoutine) {
      int16_t procinfo = cur.i16();
      if (show) o.printf("\t\tSend proc info: %s\n", boolText(procinfo));
    }
  } else {
    int32_t handle = cur.i32();
    if (show) o.printf("\t\tRoutine handle: %d [%#x]\n", handle, handle);
  }
}

void decodeExFpRoutine(Run& run, Cursor& cur) {
  Output& o = run.out;
  bool show = !run.opt.min;
  if (run.dec.msgtype == 117) str(cur, "\t\tDatabase.....:");
  int32_t handle = cur.i32();
  if (show) o.printf("\t\tRoutine handle: %d [%#x]\n", handle, handle);
  int16_t bind = cur.i16();
  if (show) o.printf("\t\tBind #........: %hd\n", bind);
  int16_t fparam = cur.i16();
  if (show) o.printf("\t\tSending fparam: %s\n", boolText(fparam));
}

void decodeFpRoutine(Run& run, Cursor& cur) {
  int16_t n = cur.i16();
  if (!run.opt.min) run.out.printf("\t\t# values: %hd\n", n);
  printvalues(cur, n);
}

// The routine's state, and after a lookup in the same packet its return
// values and parameters. Each item ends with a newline on standard output.
void decodeFparam(Run& run, Cursor& cur) {
  Output& o = run.out;
  bool show = !run.opt.min;
  o.printf("\t\tFunc State: %s\n", int8hex(cur).c_str());
  int32_t request = cur.i32();
  if (show) o.printf("\t\tRequest....: %d [%#x]\n", request, request);
  char done = static_cast<char>(cur.u8());
  if (show) o.printf("\t\tIs Done....: %c\n", done);
  int16_t first = run.dec.prev_msgtype;
  if (first != kGetRoutine && first != kDGetRoutine) return;

  int32_t routine = cur.i32();
  if (show) o.printf("\t\tRoutine id.: %d [%#x]\n", routine, routine);
  o.printf("\t\tRowi.......:%s\n", int8hex(cur).c_str());
  int32_t column = cur.i32();
  if (show) o.printf("\t\tColumn id..: %d [%#x]\n", column, column);

  int16_t r = cur.i16();
  if (show) o.printf("\t\t# return...: %hd\n", r);
  for (int i = 1; i <= r; ++i) {
    nullLine(cur, i, show);
    printtypename(run, cur.i16(), "\t\t\tType ...");
    if (first == kGetRoutine) {
      extended(cur, show);
    } else {
      str(cur, "\t\t\tType Owner:");
      str(cur, "\t\t\tType Name:");
    }
    sizes(cur, show);
    o.flush();
    o.out("\n");
  }

  int16_t p = cur.i16();
  if (show) o.printf("\t\t# Params...: %hd\n", p);
  for (int i = 1; i <= p; ++i) {
    nullLine(cur, i, show);
    printtypename(run, cur.i16(), "\t\t\tType ...");
    extended(cur, show);
    sizes(cur, show);
    o.flush();
    o.out("\n");
  }
}

void decodeFpProcInfo(Run& run, Cursor& cur) {
  Output& o = run.out;
  bool show = !run.opt.min;
  int16_t out = cur.i16();
  if (show) o.printf("\t\t# Output Params.: %hd\n", out);
  int32_t mods = cur.i32();
  if (show) o.printf("\t\tBoolean modifiers: %d [%#x]\n", mods, mods);
  str(cur, "\t\t\tCommutator:");
  str(cur, "\t\t\tNegator:");
}

void decodeGetHierarchy(Run& run, Cursor& cur) {
  bool show = !run.opt.min;
  if (!isReply(run)) {
    str(cur, "\t\tDatabase.....:");
    str(cur, "\t\tOwner........:");
    str(cur, "\t\tTable........:");
    return;
  }
  int16_t n = cur.i16();
  if (show) run.out.printf("\t\tNumber of hierarchy pairs: %hd\n", n);
  for (int16_t i = 0; i < n; ++i) {
    if (show) run.out.printf("\n");
    str(cur, "\t\tTable Owner..:");
    str(cur, "\t\tTable Name...:");
    str(cur, "\t\tParent Owner.:");
    str(cur, "\t\tParent Name..:");
  }
}

void decodeDrainMem(Run& run, Cursor& cur) {
  bool show = !run.opt.min;
  int16_t msg = cur.i16();
  if (show) run.out.printf("\t\tMessage type:    %hd (0x%x)\n", msg, static_cast<unsigned>(msg));
  int16_t transition = cur.i16();
  if (show)
    run.out.printf("\t\tTransition type:    %hd (0x%x)\n", transition,
                   static_cast<unsigned>(transition));
  int16_t flag = cur.i16();
  if (show) run.out.printf("\t\tFlag:    %hd (0x%x)\n", flag, static_cast<unsigned>(flag));
}

void decodeRemUtype(Run& run, Cursor& cur) {
  if (!isReply(run)) {
    str(cur, "\t\tDatabase:");
    str(cur, "\t\tUser....:");
    return;
  }
  char utype = static_cast<char>(cur.u16() & 0xff);
  if (!run.opt.min) run.out.printf("\t\tUtype: %c\n", utype);
}

namespace {

// One input field of an SQ_IDESCRIBE.
struct InputField {
  int type = 0;
  bool named = false;  // owner and type name follow the type
  bool attrs = false;  // the extended attributes follow
  std::string owner, name;
  int32_t xid = 0, source = 0, length = 0;
  int16_t byRef = 0, align = 0;
};

std::string copyName(Cursor& cur, int16_t len) {
  if (len <= 0) return {};
  std::string s(static_cast<size_t>(len), '\0');
  cur.getBytes(len, reinterpret_cast<uint8_t*>(s.data()));
  if (len & 1) cur.skip(1);
  return s;
}

void readInputField(Run& run, Cursor& cur, InputField& f) {
  const CapVector& caps = run.caps.protocolver;
  f.type = cur.i16();
  f.named = namedType(f.type);
  // Extended attributes come with servers that know extended types; a
  // built-in type may go without them, as in a describe.
  f.attrs = caps.has(6, 0x08) && (f.named || !caps.has(6, 0x40));
  if (f.named) {
    f.owner = copyName(cur, cur.i16());
    f.name = copyName(cur, cur.i16());
  }
  if (f.attrs) {
    f.xid = cur.i32();
    f.byRef = cur.i16();
    f.align = cur.i16();
    f.source = cur.i32();
  }
  f.length = cur.i32();
}

void printInputField(Run& run, const InputField& f, int i) {
  Output& o = run.out;
  bool show = !run.opt.min;
  if (show) o.printf("\t\t%d) Field \n", i);
  printtypename(run, f.type, "\t\t\tType....................: ");
  if (show) {
    if (f.attrs) o.printf("\n\t\t\tExtended ID: %d\n", f.xid);
    if (f.named) {
      o.printf("\t\t\tOwner Name Length: %hd\n", static_cast<int16_t>(f.owner.size()));
      if (!f.owner.empty()) o.printf("\t\t\tOwner Name: %s\n", f.owner.c_str());
      o.printf("\t\t\tExtended Type Name Length: %hd\n", static_cast<int16_t>(f.name.size()));
      if (!f.name.empty()) o.printf("\t\t\tExtended Type Name: %s\n", f.name.c_str());
    }
    if (f.attrs) {
      o.printf("\t\t\tPass By Reference Flag: %hd\n", f.byRef);
      o.printf("\t\t\tAlignment: %hd\n", f.align);
      o.printf("\t\t\tSource Type for Distinct Type: %d\n", f.source);
    }
    o.printf("\t\t\tLength : %d (0x%x)\n", f.length, f.length);
  }
  o.flush();
}

}  // namespace

// The input parameters of a prepared statement, described like the columns
// of a describe: all fields are read, then printed.
void decodeIdescribe(Run& run, Cursor& cur) {
  int16_t n = cur.i16();
  if (!run.opt.min) run.out.printf("\t\t# input fields.....: %hd\n", n);
  std::vector<InputField> fields;
  try {
    // Grown as fields arrive: a wild count cannot allocate ahead of the bytes.
    for (int16_t i = 0; i < n; ++i) readInputField(run, cur, fields.emplace_back());
  } catch (const std::bad_alloc&) {
    fields.clear();
    run.out.printf("\nERROR:  Out of Memory.  Reset message to skip forward to next packet!\n");
    cur.drop();
    return;
  }
  for (size_t i = 0; i < fields.size(); ++i) printInputField(run, fields[i], static_cast<int>(i));
  run.out.flush();
}

// Rows of different sizes: the row count, every row's size, then the rows,
// each padded to an even length.
void decodeVput(Run& run, Cursor& cur) {
  Output& o = run.out;
  bool show = !run.opt.min;
  int16_t n = cur.i16();
  if (show) o.printf("\t\t# rows..........: %hd\n", n);
  std::vector<int32_t> sizes;
  for (int16_t i = 0; i < n; ++i) sizes.push_back(cur.i32());
  if (show && !run.opt.dump_tuple) {
    o.printf("\t\tSizes of data rows:");
    for (int32_t size : sizes) o.printf(" %d", size);
    o.printf("\n");
  }
  o.flush();
  // Each row counts as a message of the statement.
  if (run.opt.stmtstats && n > 1)
    store_prev(run, run.dec.msgtype, run.thr.cur->index, run.thr.cur->stmtid, n - 1);
  double bytes = 0;
  for (size_t i = 0; i < sizes.size(); ++i) {
    int32_t size = sizes[i] > 0 ? sizes[i] : 0;
    bytes += static_cast<double>(size) + (size & 1);
    if (run.opt.dump_tuple) {
      if (show) o.printf("\t\tSize of data row(%hd): %d\n", static_cast<int16_t>(i), sizes[i]);
      hexdump(cur, size);
      cur.padAfter(size);
    } else {
      cur.skip(size);
      if (size & 1) cur.skip(1);
    }
  }
  run.sum.put_count++;
  run.sum.put_bytes += bytes;
}

}  // namespace wp
