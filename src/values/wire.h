// Loaders of the wire encodings of scalars: big-endian integers, INT8 and
// BIGINT, IEEE floats in either byte order, DECIMAL and character text.
#pragma once

#include <cstdint>

namespace wp {

// INT8 as it travels: a 2-byte sign word (1 positive, -1 negative, 0 NULL)
// and the magnitude in two 32-bit halves.
struct Int8 {
  int16_t sign = 0;
  int32_t hi = 0;
  int32_t lo = 0;
};

// DECIMAL: exponent in base-100 digits, sign (1 positive, 0 negative, -1
// NULL), and up to 16 base-100 digits, most significant first.
struct Decimal {
  int16_t exp = 0;
  int16_t sign = 0;
  int16_t ndgts = 0;
  uint8_t dgts[16] = {};
};

inline int16_t ldshort(const uint8_t* p) {
  return static_cast<int16_t>(p[0] << 8 | p[1]);
}
int32_t ldlong(const uint8_t* p);
// Fills rec from the 10 wire bytes; returns the low half.
int32_t ldint8(const uint8_t* p, Int8* rec);
int64_t ldbigint(int64_t* out, const uint8_t* p);
double lddbl(const uint8_t* p);
float ldfloat(const uint8_t* p);
// mode 1: the bytes travel big-endian and are reversed on this host.
double network_lddbl(const uint8_t* p, int mode);
float network_ldfloat(const uint8_t* p, int mode);
// A DECIMAL of len wire bytes (00 00 is NULL). The NULL test looks at two
// bytes whatever len is, so p must hold at least 2 and at most 18 are read.
// Returns 0: loading cannot fail.
int lddecimal(const uint8_t* p, int len, Decimal* rec);
// Copies len bytes without their trailing blanks and ends dst with a NUL;
// src and dst may overlap.
void ldchar(const char* src, int len, char* dst);

}  // namespace wp
