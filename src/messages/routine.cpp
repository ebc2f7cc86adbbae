// User-defined routine lookups and calls, and the server's callbacks.
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
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
void str(Cursor& cur, const char* label, const char* key) {
  printstring(cur, cur.i16(), label, 0, key);
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
  Emit& em = run.em;
  int32_t len = cur.i32();
  if (show) em.field("length", len, "\t\t\tLength..: %d [%#x]\n", len, len);
  int16_t prec = cur.i16();
  if (show) em.field("prec", prec, "\t\t\tPrec....: %d [%#x]\n", prec, static_cast<unsigned>(prec));
  int16_t scale = cur.i16();
  if (show)
    em.field("scale", scale, "\t\t\tScale...: %d [%#x]\n", scale, static_cast<unsigned>(scale));
}

void nullLine(Cursor& cur, int i, bool show) {
  uint8_t null = cur.u8();
  const char* text = null ? "TRUE" : "FALSE";
  if (show) cur.run.em.field("null", text, "\t\t    %d) Null....: %s\n", i, text);
}

void extended(Cursor& cur, bool show) {
  int32_t x = cur.i32();
  if (show) cur.run.em.field("extended", x, "\t\t\tExtended: %d [%#x]\n", x, x);
}

}  // namespace

void decodeRetType(Run& run, Cursor& cur) {
  Emit& em = run.em;
  bool show = !run.opt.min;
  int16_t d = cur.i16();
  if (show) {
    if (d == 0)
      em.field("direction", d, "\t\tDirection: %hd \t(FOR PUT)\n", d);
    else
      em.field("direction", d, "\t\tDirection: %hd \t(FOR FETCH)\n", d);
    em.also("direction_name", d == 0 ? "FOR PUT" : "FOR FETCH");
  }
  int16_t n = cur.i16();
  if (show) em.field("n_of_types", n, "\t\t# of types: %hd\n", n);
  em.open("types", Emit::kList);
  for (int16_t i = 0; i < n; ++i) {
    em.open(nullptr);
    if (show) em.text("\n");
    int type = cur.i16();
    printtypename(run, type, "\t\t\tType.....: ", "type");
    if (namedType(type)) {
      int16_t owner = cur.i16();
      if (owner > 0) printstring(cur, owner, "\t\t\tOwner Name: ", 0, "owner_name");
      int16_t name = cur.i16();
      if (name > 0) printstring(cur, name, "\t\t\tExtended Type Name: ", 0, "extended_type_name");
    }
    int32_t len = cur.i32();
    if (show) em.field("variable_length", len, "\t\t\tVariable Length: %d\n", len);
    em.close();
  }
  em.close();
}

void decodeGetRoutine(Run& run, Cursor& cur) {
  Emit& em = run.em;
  bool show = !run.opt.min;
  if (!isReply(run)) {
    int32_t len = run.caps.protocolver.has(7, 0x02) ? cur.i32() : cur.u16();
    printstring(cur, len, "\t\tSignature..:", 0, "signature");
    int16_t fparam = cur.i16();
    if (show) em.field("send_fparam", boolText(fparam), "\t\tSend fparam: %s\n", boolText(fparam));
    if (run.dec.msgtype == kDGetRoutine) {
      int16_t procinfo = cur.i16();
      if (show)
        em.field("send_proc_info", boolText(procinfo), "\t\tSend proc info: %s\n",
                 boolText(procinfo));
    }
  } else {
    int32_t handle = cur.i32();
    if (show) em.field("routine_handle", handle, "\t\tRoutine handle: %d [%#x]\n", handle, handle);
  }
}

void decodeExFpRoutine(Run& run, Cursor& cur) {
  Emit& em = run.em;
  bool show = !run.opt.min;
  if (run.dec.msgtype == 117) str(cur, "\t\tDatabase.....:", "database");
  int32_t handle = cur.i32();
  if (show) em.field("routine_handle", handle, "\t\tRoutine handle: %d [%#x]\n", handle, handle);
  int16_t bind = cur.i16();
  if (show) em.field("bind_n", bind, "\t\tBind #........: %hd\n", bind);
  int16_t fparam = cur.i16();
  if (show)
    em.field("sending_fparam", boolText(fparam), "\t\tSending fparam: %s\n", boolText(fparam));
}

void decodeFpRoutine(Run& run, Cursor& cur) {
  int16_t n = cur.i16();
  if (!run.opt.min) run.em.field("n_values", n, "\t\t# values: %hd\n", n);
  printvalues(cur, n);
}

// The routine's state, and after a lookup in the same packet its return
// values and parameters. Each item ends with a newline on standard output.
void decodeFparam(Run& run, Cursor& cur) {
  Output& o = run.out;
  Emit& em = run.em;
  bool show = !run.opt.min;
  std::string state = int8hex(cur);
  em.field("func_state", state, "\t\tFunc State: %s\n", state.c_str());
  int32_t request = cur.i32();
  if (show) em.field("request", request, "\t\tRequest....: %d [%#x]\n", request, request);
  char done = static_cast<char>(cur.u8());
  if (show) em.field("is_done", std::string_view(&done, 1), "\t\tIs Done....: %c\n", done);
  int16_t first = run.dec.prev_msgtype;
  if (first != kGetRoutine && first != kDGetRoutine) return;

  int32_t routine = cur.i32();
  if (show) em.field("routine_id", routine, "\t\tRoutine id.: %d [%#x]\n", routine, routine);
  std::string rowid = int8hex(cur);
  em.field("rowi", rowid, "\t\tRowi.......:%s\n", rowid.c_str());
  int32_t column = cur.i32();
  if (show) em.field("column_id", column, "\t\tColumn id..: %d [%#x]\n", column, column);

  int16_t r = cur.i16();
  if (show) em.field("n_return", r, "\t\t# return...: %hd\n", r);
  em.open("return_values", Emit::kList);
  for (int i = 1; i <= r; ++i) {
    em.open(nullptr);
    nullLine(cur, i, show);
    printtypename(run, cur.i16(), "\t\t\tType ...", "type");
    if (first == kGetRoutine) {
      extended(cur, show);
    } else {
      str(cur, "\t\t\tType Owner:", "type_owner");
      str(cur, "\t\t\tType Name:", "type_name");
    }
    sizes(cur, show);
    em.close();
    o.flush();
    if (em.listing()) o.out("\n");
  }
  em.close();

  int16_t p = cur.i16();
  if (show) em.field("n_params", p, "\t\t# Params...: %hd\n", p);
  em.open("params", Emit::kList);
  for (int i = 1; i <= p; ++i) {
    em.open(nullptr);
    nullLine(cur, i, show);
    printtypename(run, cur.i16(), "\t\t\tType ...", "type");
    extended(cur, show);
    sizes(cur, show);
    em.close();
    o.flush();
    if (em.listing()) o.out("\n");
  }
  em.close();
}

void decodeFpProcInfo(Run& run, Cursor& cur) {
  Emit& em = run.em;
  bool show = !run.opt.min;
  int16_t out = cur.i16();
  if (show) em.field("n_output_params", out, "\t\t# Output Params.: %hd\n", out);
  int32_t mods = cur.i32();
  if (show) em.field("boolean_modifiers", mods, "\t\tBoolean modifiers: %d [%#x]\n", mods, mods);
  str(cur, "\t\t\tCommutator:", "commutator");
  str(cur, "\t\t\tNegator:", "negator");
}

void decodeGetHierarchy(Run& run, Cursor& cur) {
  Emit& em = run.em;
  bool show = !run.opt.min;
  if (!isReply(run)) {
    str(cur, "\t\tDatabase.....:", "database");
    str(cur, "\t\tOwner........:", "owner");
    str(cur, "\t\tTable........:", "table");
    return;
  }
  int16_t n = cur.i16();
  if (show) em.field("number_of_hierarchy_pairs", n, "\t\tNumber of hierarchy pairs: %hd\n", n);
  em.open("hierarchy_pairs", Emit::kList);
  for (int16_t i = 0; i < n; ++i) {
    em.open(nullptr);
    if (show) em.text("\n");
    str(cur, "\t\tTable Owner..:", "table_owner");
    str(cur, "\t\tTable Name...:", "table_name");
    str(cur, "\t\tParent Owner.:", "parent_owner");
    str(cur, "\t\tParent Name..:", "parent_name");
    em.close();
  }
  em.close();
}

void decodeDrainMem(Run& run, Cursor& cur) {
  Emit& em = run.em;
  bool show = !run.opt.min;
  int16_t msg = cur.i16();
  if (show)
    em.field("message_type", msg, "\t\tMessage type:    %hd (0x%x)\n", msg,
             static_cast<unsigned>(msg));
  int16_t transition = cur.i16();
  if (show)
    em.field("transition_type", transition, "\t\tTransition type:    %hd (0x%x)\n", transition,
             static_cast<unsigned>(transition));
  int16_t flag = cur.i16();
  if (show) em.field("flag", flag, "\t\tFlag:    %hd (0x%x)\n", flag, static_cast<unsigned>(flag));
}

void decodeRemUtype(Run& run, Cursor& cur) {
  if (!isReply(run)) {
    str(cur, "\t\tDatabase:", "database");
    str(cur, "\t\tUser....:", "user");
    return;
  }
  char utype = static_cast<char>(cur.u16() & 0xff);
  if (!run.opt.min) run.em.field("utype", std::string_view(&utype, 1), "\t\tUtype: %c\n", utype);
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
  Emit& em = run.em;
  bool show = !run.opt.min;
  em.open(nullptr);
  if (show) em.text("\t\t%d) Field \n", i);
  printtypename(run, f.type, "\t\t\tType....................: ");
  if (show) {
    if (f.attrs) em.field("extended_id", f.xid, "\n\t\t\tExtended ID: %d\n", f.xid);
    if (f.named) {
      auto ownerLen = static_cast<int16_t>(f.owner.size());
      em.field("owner_name_length", ownerLen, "\t\t\tOwner Name Length: %hd\n", ownerLen);
      if (!f.owner.empty())
        em.field("owner_name", f.owner.c_str(), "\t\t\tOwner Name: %s\n", f.owner.c_str());
      auto nameLen = static_cast<int16_t>(f.name.size());
      em.field("extended_type_name_length", nameLen, "\t\t\tExtended Type Name Length: %hd\n",
               nameLen);
      if (!f.name.empty())
        em.field("extended_type_name", f.name.c_str(), "\t\t\tExtended Type Name: %s\n",
                 f.name.c_str());
    }
    if (f.attrs) {
      em.field("pass_by_reference_flag", f.byRef, "\t\t\tPass By Reference Flag: %hd\n", f.byRef);
      em.field("alignment", f.align, "\t\t\tAlignment: %hd\n", f.align);
      em.field("source_type_for_distinct_type", f.source,
               "\t\t\tSource Type for Distinct Type: %d\n", f.source);
    }
    em.field("length", f.length, "\t\t\tLength : %d (0x%x)\n", f.length, f.length);
  }
  em.close();
  run.out.flush();
}

}  // namespace

// The input parameters of a prepared statement, described like the columns
// of a describe: all fields are read, then printed.
void decodeIdescribe(Run& run, Cursor& cur) {
  int16_t n = cur.i16();
  if (!run.opt.min) run.em.field("n_input_fields", n, "\t\t# input fields.....: %hd\n", n);
  std::vector<InputField> fields;
  try {
    // Grown as fields arrive: a wild count cannot allocate ahead of the bytes.
    for (int16_t i = 0; i < n; ++i) readInputField(run, cur, fields.emplace_back());
  } catch (const std::bad_alloc&) {
    fields.clear();
    run.em.error("\nERROR:  Out of Memory.  Reset message to skip forward to next packet!\n");
    cur.drop();
    return;
  }
  run.em.open("input_fields", Emit::kList);
  for (size_t i = 0; i < fields.size(); ++i) printInputField(run, fields[i], static_cast<int>(i));
  run.em.close();
  run.out.flush();
}

// Rows of different sizes: the row count, every row's size, then the rows,
// each padded to an even length.
void decodeVput(Run& run, Cursor& cur) {
  Output& o = run.out;
  Emit& em = run.em;
  bool show = !run.opt.min;
  int16_t n = cur.i16();
  if (show) em.field("n_rows", n, "\t\t# rows..........: %hd\n", n);
  std::vector<int32_t> sizes;
  for (int16_t i = 0; i < n; ++i) sizes.push_back(cur.i32());
  // With -tuple each row's size is listed with its dump instead.
  if (!run.opt.dump_tuple) {
    if (show) em.text("\t\tSizes of data rows:");
    em.open("sizes_of_data_rows", Emit::kList);
    if (show)
      for (int32_t size : sizes) em.field(nullptr, size, " %d", size);
    em.close();
    if (show) em.text("\n");
  }
  o.flush();
  // Each row counts as a message of the statement.
  if (run.opt.stmtstats && n > 1)
    store_prev(run, run.dec.msgtype, run.thr.cur->index, run.thr.cur->stmtid, n - 1);
  double bytes = 0;
  if (run.opt.dump_tuple) em.open("rows", Emit::kList);
  for (size_t i = 0; i < sizes.size(); ++i) {
    int32_t size = sizes[i] > 0 ? sizes[i] : 0;
    bytes += static_cast<double>(size) + (size & 1);
    if (run.opt.dump_tuple) {
      em.open(nullptr);
      if (show)
        em.field("size_of_data_row", sizes[i], "\t\tSize of data row(%hd): %d\n",
                 static_cast<int16_t>(i), sizes[i]);
      hexdump(cur, size);
      cur.padAfter(size);
      em.close();
    } else {
      cur.skip(size);
      if (size & 1) cur.skip(1);
    }
  }
  if (run.opt.dump_tuple) em.close();
  run.sum.put_count++;
  run.sum.put_bytes += bytes;
}

}  // namespace wp
