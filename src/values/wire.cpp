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

int lddecimal(const uint8_t*, int, Decimal* rec) {
  // Not built yet: every value reads as NULL.
  *rec = Decimal{};
  rec->sign = -1;
  return 0;
}

void ldchar(const char* src, int len, char* dst) {
  if (len < 0) len = 0;
  while (len > 0 && src[len - 1] == ' ') --len;
  memmove(dst, src, static_cast<size_t>(len));
  dst[len] = '\0';
}

}  // namespace wp
