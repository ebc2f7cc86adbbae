// Extended type descriptions: the block of user-defined, distinct, row and
// collection types a server sends with descriptions and bound values, and
// the trailer after a single type word that is not a supported built-in.
#include <cstdint>

#include "driver/cursor.h"
#include "driver/run.h"
#include "values/text.h"
#include "values/typename.h"
#include "values/valueprinter.h"

namespace wp {

namespace {

// Servers announce extended type descriptions with this capability.
constexpr int kXtdTypesBit = 50;
// A maximum length that means "none".
constexpr int32_t kNoMaxLen = INT32_MIN;

// Children that follow a type: collections have one element type and no
// count on the wire, a row its fields behind a count, anything else none.
// Returns -1 when no child line is printed at all.
int32_t childCount(Cursor& cur, int type) {
  int code = type & 0xff;
  if (code == 19 || code == 20 || (code & ~2) == 21) return 1;
  if (code == 22) return cur.i32();
  return -1;
}

void printChildren(Cursor& cur, int type) {
  Run& run = cur.run;
  Emit& em = run.em;
  bool show = !run.opt.min;
  int32_t n = childCount(cur, type);
  if (n < 0) return;
  auto shownCount = static_cast<int16_t>(n);
  if (show) em.field("no_childs", shownCount, "\t\t\t\tNo. Childs.: %hd\n", shownCount);
  em.open("children", Emit::kList);
  for (int32_t j = 1; j <= n; ++j) {
    em.open(nullptr);
    auto child = static_cast<int16_t>(j);
    if (show) em.field("child", child, "\t\t\t\t %hd) Child....\n", child);
    printtypename(run, cur.i16(), "\t\t\t\tType....: ");
    int32_t len = cur.i32();
    auto shortLen = static_cast<int16_t>(len);
    if (show) em.field("ddc_len", shortLen, "\t\t\t\t\tddc_len.: %hd (0x%x)\n", shortLen, len);
    auto xid = static_cast<int16_t>(cur.i32());
    if (show) em.field("ddc_xid", xid, "\t\t\t\t\tddc_xid.: %hd\n", xid);
    em.close();
  }
  em.close();
}

// One extended type description.
void printXtdType(Cursor& cur, int32_t i) {
  Run& run = cur.run;
  Emit& em = run.em;
  bool show = !run.opt.min;
  auto xid = static_cast<int16_t>(cur.i32());
  if (show)
    em.field("ddxt_xid", xid, "\t\t\t %hd) ddxt_xid...: %hd\n", static_cast<int16_t>(i), xid);
  int type = cur.i16();
  printtypename(run, type, "\t\t\t\tddxt_type..: ", "ddxt_type");
  printstring(cur, cur.i16(), "\t\t\t\tType owner.:", 0, "type_owner");
  printstring(cur, cur.i16(), "\t\t\t\tType name..:", 0, "type_name");
  int32_t len = cur.i32();
  auto shortLen = static_cast<int16_t>(len);
  if (show) em.field("ddxt_len", shortLen, "\t\t\t\tddxt_len...: %hd (0x%x)\n", shortLen, len);
  int32_t maxlen = cur.i32();
  if (show) {
    auto shortMax = static_cast<int16_t>(maxlen);
    if (maxlen == kNoMaxLen)
      em.field("ddxt_maxlen", Value(), "\t\t\t\tddxt_maxlen: \n");
    else
      em.field("ddxt_maxlen", shortMax, "\t\t\t\tddxt_maxlen: %hd (0x%x)\n", shortMax, maxlen);
  }
  const char mode[2] = {static_cast<char>(cur.u8()), '\0'};
  if (show) em.field("ddxt_mode", mode, "\t\t\t\tddxt_mode..: %c\n", mode[0]);
  const char domain[2] = {static_cast<char>(cur.u8()), '\0'};
  if (show) em.field("ddxt_domain", domain, "\t\t\t\tddxt_domain: %c\n", domain[0]);
  int16_t flags = cur.i16();
  if (show)
    em.field("ddxt_flags", flags, "\t\t\t\tddxt_flags.: %hd (0x%x)\n", flags,
             static_cast<unsigned>(flags));
  int16_t align = cur.i16();
  if (show) em.field("ddxt_align", align, "\t\t\t\tddxt_align.: %hd\n", align);
  int16_t precis = cur.i16();
  if (show) em.field("ddxt_precis", precis, "\t\t\t\tddxt_precis: %hd\n", precis);
  int16_t scale = cur.i16();
  if (show) em.field("ddxt_scale", scale, "\t\t\t\tddxt_scale.: %hd\n", scale);
  int16_t named = cur.i16();
  if (show) em.field("named_rt", named, "\t\t\t\tNamed RT...: %hd\n", named);
  if (named != 0) printstring(cur, cur.i16(), "\t\t\t\tName of RT.:", 0, "name_of_rt");
  if (type & kTypeDistinct) {
    auto source = static_cast<int16_t>(cur.i32());
    if (show) em.field("ddxt_source", source, "\t\t\t\tddxt_source: %hd\n", source);
  }
  printChildren(cur, type);
  if (show) em.text("\n");
  run.out.flush();
}

}  // namespace

void printextdtypeinfo(Cursor& cur, int) {
  Run& run = cur.run;
  if (!run.caps.sub_sprotocolver.has(kXtdTypesBit)) return;
  int32_t count = cur.i32();
  Emit& em = run.em;
  auto shownCount = static_cast<int16_t>(count);
  if (!run.opt.min)
    em.field("count_of_xtd_types", shownCount, "\t\t\tCount of xtd types..: %hd\n", shownCount);
  em.open("xtd_types", Emit::kList);
  for (int32_t i = 1; i <= count; ++i) {
    em.open(nullptr);
    printXtdType(cur, i);
    em.close();
  }
  em.close();
  if (!run.opt.min) em.text("\n");
  run.out.flush();
}

void printnonbuiltininfo(Cursor& cur, int type, const char* prefix) {
  Run& run = cur.run;
  const CapVector& caps = run.caps.sub_sprotocolver;
  if (!caps.has(kXtdTypesBit)) return;
  int code = type & 0xff;
  bool builtin = code < 19 || code == 42 || (code >= 51 && code <= 53);
  if (builtin && !(type & kTypeDistinct) && istypesupportedinxsrv(caps.b, type, 0)) return;
  auto xid = static_cast<int16_t>(cur.i32());
  if (!run.opt.min) run.em.field("type_xid", xid, "%sType xid.........: %hd\n", prefix, xid);
  int16_t owner = cur.i16();
  if (owner != 0) printstring(cur, owner, "\t\t\tType owner.......:", 0, "type_owner");
  int16_t name = cur.i16();
  if (name != 0) printstring(cur, name, "\t\t\tType name........:", 0, "type_name");
  run.out.flush();
}

// Without the client library's table every code a server of this protocol
// generation knows is taken as supported.
int istypesupportedinxsrv(const uint8_t*, int type, int) {
  int code = type & 0xff;
  return code < 19 || code == 42 || (code >= 51 && code <= 53);
}

}  // namespace wp
