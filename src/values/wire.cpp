#include "values/wire.h"

#include <cstring>

namespace wp {

int32_t ldlong(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 |
                              p[3]);
}

int32_t ldint8(const uint8_t* p, Int8* rec) {
  rec->sign = ldshort(p);
  rec->hi = ldlong(p + 2);
  rec->lo = ldlong(p + 6);
  return rec->lo;
}

int64_t ldbigint(int64_t* out, const uint8_t* p) {
  uint64_t v = 0;
  for (int i = 0; i < 8; ++i) v = v << 8 | p[i];
  *out = static_cast<int64_t>(v);
  return *out;
}

double lddbl(const uint8_t* p) {
  double d;
  memcpy(&d, p, sizeof d);
  return d;
}

float ldfloat(const uint8_t* p) {
  float f;
  memcpy(&f, p, sizeof f);
  return f;
}

double network_lddbl(const uint8_t* p, int mode) {
  if (mode != 1) return lddbl(p);
  uint8_t r[8];
  for (int i = 0; i < 8; ++i) r[i] = p[7 - i];
  return lddbl(r);
}

float network_ldfloat(const uint8_t* p, int mode) {
  if (mode != 1) return ldfloat(p);
  uint8_t r[4];
  for (int i = 0; i < 4; ++i) r[i] = p[3 - i];
  return ldfloat(r);
}

namespace {

// A negative DECIMAL travels as the base-100 complement of its digits: the
// trailing zero digits stay, the last non-zero one d is 100 - d and every one
// before it 99 - d.
void complementDigits(uint8_t* d, int n) {
  int i = n - 1;
  while (i >= 0 && d[i] == 0) --i;
  if (i < 0) return;
  d[i] = static_cast<uint8_t>(100 - d[i]);
  while (--i >= 0) d[i] = static_cast<uint8_t>(99 - d[i]);
}

// Leading zero digits only shift the exponent; trailing ones carry the
// column's scale and stay. The record holds the first 16 digits.
void loadDigits(Decimal* rec, int exp, const uint8_t* d, int n) {
  while (n > 0 && d[0] == 0) {
    ++d;
    --n;
    --exp;
  }
  if (n == 0) exp = 0;
  if (n > 16) n = 16;
  rec->exp = static_cast<int16_t>(exp);
  rec->ndgts = static_cast<int16_t>(n);
  memcpy(rec->dgts, d, static_cast<size_t>(n));
}

}  // namespace

int lddecimal(const uint8_t* p, int len, Decimal* rec) {
  *rec = Decimal{};
  uint8_t b0 = p[0];
  if (b0 == 0 && p[1] == 0) {
    rec->sign = -1;
    return 0;
  }
  // The first byte and at most 17 digit bytes; the rest of a longer field
  // is not part of the value.
  int n = (len < 18 ? len : 18) - 1;
  if (n < 0) n = 0;
  uint8_t d[17];
  memcpy(d, p + 1, static_cast<size_t>(n));
  if (b0 & 0x80) {
    rec->sign = 1;
  } else {
    complementDigits(d, n);
    b0 ^= 0x7f;
    rec->sign = 0;
  }
  loadDigits(rec, (b0 & 0x7f) - 64, d, n);
  return 0;
}

void ldchar(const char* src, int len, char* dst) {
  if (len < 0) len = 0;
  while (len > 0 && src[len - 1] == ' ') --len;
  memmove(dst, src, static_cast<size_t>(len));
  dst[len] = '\0';
}

}  // namespace wp
