#include "values/valueprinter.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "driver/cursor.h"
#include "driver/run.h"
#include "values/collection.h"
#include "values/text.h"
#include "values/textforms.h"
#include "values/typename.h"
#include "values/wire.h"

namespace wp {

namespace {

constexpr const char* kIndent = "\t\t\t";

// Built-in codes travel without owner and type names.
bool builtin(int code) {
  return code <= 18 || code == 42 || (code >= 51 && code <= 53);
}

// n contiguous bytes of a fixed-width field (refilled first) into dst.
void fixed(Cursor& cur, int32_t n, uint8_t* dst) {
  cur.need(n);
  memcpy(dst, cur.ptr(), static_cast<size_t>(n));
  cur.advance(n);
}

// A SENDRECV whose type name reads "row (" carries a row value. Only the
// name's own bytes in the packet are looked at.
bool namesRow(const Cursor& cur, int32_t len) {
  int32_t n = std::clamp(len, 0, std::max(cur.left, 0));
  const uint8_t* p = cur.ptr();
  int32_t i = 0;
  while (i < n && isspace(p[i])) ++i;
  if (n - i < 3 || memcmp(p + i, "row", 3) != 0) return false;
  i += 3;
  while (i < n && isspace(p[i])) ++i;
  return i < n && p[i] == '(';
}

void printDecimal(Cursor& cur) {
  Run& run = cur.run;
  int16_t n = cur.i16();
  // At most 18 bytes carry the value, but the whole field is refilled so that
  // it lies together and its pad goes by its own length. The NULL test looks
  // at two bytes even when the field is shorter.
  int32_t take = std::clamp<int32_t>(n, 0, 18);
  if (n > 0) cur.need(n);
  uint8_t b[18] = {};
  int32_t look = std::min(std::max(take, 2), std::max(cur.left, 0));
  if (look > 0) memcpy(b, cur.ptr(), static_cast<size_t>(look));
  Decimal rec;
  lddecimal(b, n, &rec);
  char text[80];
  memset(text, ' ', 79);
  text[79] = '\0';
  dectoasc(&rec, text, 79, -1);
  ldchar(text, 79, text);
  run.em.field("data", text, "%s\n", text);
  cur.skipPadded(n);
}

// User-defined values, LVARCHAR and BOOLEAN: a newline and the 4-byte
// length, shown unless -min, come before the bytes.
int32_t longLength(Cursor& cur) {
  Run& run = cur.run;
  run.em.text("\n");
  int32_t n = cur.i32();
  auto shownLength = static_cast<int16_t>(n);
  if (!run.opt.min)
    run.em.field("data_length", shownLength, "\t\t\tData length: %hd\n", shownLength);
  return n;
}

void printUdt(Cursor& cur) {
  int32_t n = longLength(cur);
  if (cur.run.opt.udt_hex)
    cur.padAfter(hexdump(cur, n));
  else
    cur.skipPadded(n);
}

void printBool(Cursor& cur) {
  int32_t n = longLength(cur);
  if (n > 0) cur.need(1);
  int8_t first = cur.left > 0 ? static_cast<int8_t>(*cur.ptr()) : 0;
  cur.run.em.field("data", first, "%x\n", static_cast<unsigned>(first));
  cur.padAfter(cur.skipField(n));
}

// The data of a value that is not NULL, after its "Data" label. Returns false
// when the value could not be read and the packet was dropped.
bool printData(Cursor& cur, int type, bool row) {
  Run& run = cur.run;
  Emit& em = run.em;
  int code = row ? 22 : type & 0xff;
  if (type & kTypeClientCollection) code = 22;
  switch (code) {
    case 0:
    case 13:
    case 15:
    case 16:
      printchar(cur, cur.i16());
      break;
    case 1: {
      int16_t v = cur.i16();
      em.field("data", v, "%hd\n", v);
      break;
    }
    case 2:
    case 6: {
      int32_t v = cur.i32();
      em.field("data", v, "%d\n", v);
      break;
    }
    case 3: {
      uint8_t b[8];
      fixed(cur, 8, b);
      double v = network_lddbl(b, run.caps.transFloatType);
      em.field("data", v, "%g\n", v);
      break;
    }
    case 4: {
      uint8_t b[4];
      fixed(cur, 4, b);
      auto v = static_cast<double>(network_ldfloat(b, run.caps.transFloatType));
      em.field("data", v, "%g\n", v);
      break;
    }
    case 5:
    case 8:
    case 10:
    case 14:
      printDecimal(cur);
      break;
    case 7: {
      char text[80] = "";
      rdatestr(cur.i32(), text);
      em.field("data", text, "%s\n", text);
      break;
    }
    case 9:
      break;
    case 11:
    case 12:
      em.text("\n");
      if (run.opt.blob_hex)
        cur.padAfter(hexdump(cur, 56));
      else
        cur.skipPadded(56);
      break;
    case 17:
    case 18: {
      uint8_t b[10];
      fixed(cur, 10, b);
      Int8 rec;
      ldint8(b, &rec);
      char text[80] = "";
      ovb_int8tostr(&rec, text, sizeof text);
      // JSON has the number; a value that has no text form is null.
      Value v = text[0] ? Value(static_cast<int64_t>(strtoll(text, nullptr, 10))) : Value();
      em.field("data", v, "%s\n", text);
      break;
    }
    case 19:
    case 20:
    case 21:
    case 22:
    case 23:
      return printcollection(cur);
    case 40:
    case 41:
    case 44:
    case 50:
      printUdt(cur);
      break;
    case 43:
      printchar(cur, longLength(cur));
      break;
    case 45:
      printBool(cur);
      break;
    case 52:
    case 53: {
      uint8_t b[8];
      fixed(cur, 8, b);
      int64_t v;
      ldbigint(&v, b);
      em.field("data", v, "%ld\n", static_cast<long>(v));
      break;
    }
    default:
      // The value's bytes stay where they are.
      em.field("invalid_type", static_cast<int16_t>(type), "Invalid Type in value: %hd\n",
               static_cast<int16_t>(type));
      break;
  }
  return true;
}

// One value: type line, names of an extended type, indicator, precision and
// data. Returns false when the rest of the packet was dropped.
bool printvalue(Cursor& cur, int i) {
  Run& run = cur.run;
  Emit& em = run.em;
  int type = cur.i16();
  char prefix[40];
  snprintf(prefix, sizeof prefix, "%s%d) Type.....: ", kIndent, i);
  printtypename(run, type, prefix);
  int code = type & 0xff;
  bool row = false;
  if (run.caps.protocolver.has(0, 0x20) && (!builtin(code) || (type & kTypeDistinct))) {
    int16_t owner = cur.i16();
    if (owner > 0) printstring(cur, owner, "\t\t\tOwner Name: ", 0, "owner_name");
    int16_t name = cur.i16();
    if (code == 44 && name > 0) {
      if (cur.left <= 0) cur.nextPacket();
      row = namesRow(cur, name);
    }
    if (name > 0) printstring(cur, name, "\t\t\tExtended Type Name: ", 0, "extended_type_name");
  }
  int16_t indicator = cur.i16();
  int16_t precision = cur.i16();
  const char* null = indicator == -1 ? "NULL" : "NOT NULL";
  em.field("indicator", null, "%sIndicator: %s\n", kIndent, null);
  auto bits = static_cast<unsigned>(precision);
  em.field("precision", bits, "%sPrecision: 0x%x\n", kIndent, bits);
  if (indicator == -1) return true;
  em.text("%sData.....: ", kIndent);
  return printData(cur, type, row);
}

}  // namespace

void printvalues(Cursor& cur, int32_t count) {
  Run& run = cur.run;
  Emit& em = run.em;
  em.open("values", Emit::kList);
  for (int32_t i = 0; i < count; ++i) {
    em.open(nullptr);
    bool ok = printvalue(cur, i);
    em.close();
    run.out.flush();
    if (!ok) break;
    // Separators go to standard output, not to the listing (nor to JSON).
    if (i != count - 1 && em.listing()) run.out.out("\n");
  }
  em.close();
}

}  // namespace wp
