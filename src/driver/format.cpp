#include "driver/format.h"

#include <sys/types.h>

#include <cmath>
#include <cstdint>
#include <cstring>

namespace wp {

namespace {

enum class Size { Int, Char, Short, Long, LongLong, SizeT };

// Two decimal digits at a time: "00" to "99".
constexpr char kPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Lays out an integer field: sign or 0x prefix, zeros up to the precision,
// the digits, blanks or zeros up to the width.
inline __attribute__((always_inline)) char* integer(char* o, char* end, bool neg,
                                                    unsigned long long mag, char conv, bool left,
                                                    bool zero, bool alt, int width, int prec) {
  // Digits are made from the right end of `digits`.
  char digits[24];
  char* d = digits + sizeof digits;
  bool hex = conv == 'x' || conv == 'X';
  if (hex) {
    const char* set = conv == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    for (unsigned long long m = mag; m; m >>= 4) *--d = set[m & 15];
  } else {
    unsigned long long m = mag;
    while (m >= 100) {
      const char* two = kPairs + 2 * (m % 100);
      m /= 100;
      *--d = two[1], *--d = two[0];
    }
    if (m >= 10)
      *--d = kPairs[2 * m + 1], *--d = kPairs[2 * m];
    else if (m > 0)
      *--d = static_cast<char>('0' + m);
  }
  if (d == digits + sizeof digits && prec != 0) *--d = '0';
  int nd = static_cast<int>(digits + sizeof digits - d);
  if (width <= 0 && prec < 0 && !neg && !(alt && hex)) {
    // The common case: the digits alone.
    if (end - o < nd) return nullptr;
    memcpy(o, d, static_cast<size_t>(nd));
    return o + nd;
  }
  int zeros = prec > nd ? prec - nd : 0;
  bool prefix = alt && hex && mag != 0;
  int body = (neg ? 1 : 0) + (prefix ? 2 : 0) + zeros + nd;
  int pad = width > body ? width - body : 0;
  if (end - o < body + pad) return nullptr;
  if (pad && !left) {
    if (zero && prec < 0)
      zeros += pad;
    else
      memset(o, ' ', static_cast<size_t>(pad)), o += pad;
  }
  if (neg) *o++ = '-';
  if (prefix) *o++ = '0', *o++ = conv;
  for (; zeros > 0; --zeros) *o++ = '0';
  memcpy(o, d, static_cast<size_t>(nd)), o += nd;
  if (pad && left) memset(o, ' ', static_cast<size_t>(pad)), o += pad;
  return o;
}

char* text(char* o, char* end, const char* s, size_t n, bool left, int width) {
  size_t pad = static_cast<size_t>(width) > n ? static_cast<size_t>(width) - n : 0;
  if (static_cast<size_t>(end - o) < n + pad) return nullptr;
  if (!left) memset(o, ' ', pad), o += pad;
  memcpy(o, s, n), o += n;
  if (left) memset(o, ' ', pad), o += pad;
  return o;
}

// Bytes of v that are zero, flagged in their top bit (the lowest flag is
// exact; flags above a zero byte may be spurious).
inline uint64_t zeroBytes(uint64_t v) {
  return (v - 0x0101010101010101ULL) & ~v & 0x8080808080808080ULL;
}

}  // namespace

bool formatFast(char* dst, size_t room, const char* fmt, va_list ap, size_t* len) {
  constexpr int kMaxWidth = 1 << 16;
  char* o = dst;
  char* end = dst + room;
  const char* p = fmt;
  // Words are read only within the format text: a read past its NUL, even
  // one that stays in the page, is outside the object.
  const char* fmtEnd = fmt + strlen(fmt);
  for (;;) {
    // Literal text, eight bytes at a time up to the next '%' or the end.
    for (;;) {
      if (fmtEnd - p >= 8 && end - o >= 8) {
        uint64_t w;
        memcpy(&w, p, 8);
        memcpy(o, &w, 8);
        uint64_t stop = zeroBytes(w) | zeroBytes(w ^ 0x2525252525252525ULL);
        if (!stop) {
          p += 8, o += 8;
          continue;
        }
        int n = __builtin_ctzll(stop) / 8;
        p += n, o += n;
        break;
      }
      char c = *p;
      if (c == '%' || c == '\0') break;
      if (o == end) return false;
      *o++ = c, ++p;
    }
    if (*p == '\0') break;
    ++p;
    if (*p == '%') {
      if (o == end) return false;
      *o++ = '%';
      ++p;
      continue;
    }
    bool left = false, zero = false, alt = false;
    for (;; ++p) {
      if (*p == '-')
        left = true;
      else if (*p == '0')
        zero = true;
      else if (*p == '#')
        alt = true;
      else if (*p == '+' || *p == ' ' || *p == '\'' || *p == 'I')
        return false;
      else
        break;
    }
    int width = 0;
    if (*p == '*') {
      width = va_arg(ap, int);
      if (width < 0) {
        if (width < -kMaxWidth) return false;
        left = true;
        width = -width;
      }
      ++p;
    } else {
      while (*p >= '0' && *p <= '9') {
        width = width * 10 + (*p++ - '0');
        if (width > kMaxWidth) return false;
      }
    }
    if (width > kMaxWidth) return false;
    int prec = -1;
    if (*p == '.') {
      ++p;
      if (*p == '*') {
        prec = va_arg(ap, int);
        if (prec < 0) prec = -1;
        ++p;
      } else {
        prec = 0;
        while (*p >= '0' && *p <= '9') {
          prec = prec * 10 + (*p++ - '0');
          if (prec > kMaxWidth) return false;
        }
      }
    }
    Size size = Size::Int;
    if (*p == 'h') {
      ++p;
      size = *p == 'h' ? (++p, Size::Char) : Size::Short;
    } else if (*p == 'l') {
      ++p;
      size = *p == 'l' ? (++p, Size::LongLong) : Size::Long;
    } else if (*p == 'z') {
      ++p;
      size = Size::SizeT;
    }
    char conv = *p++;
    switch (conv) {
      case 'd':
      case 'i': {
        if (alt) return false;
        long long v;
        switch (size) {
          case Size::Char:
            v = static_cast<signed char>(va_arg(ap, int));
            break;
          case Size::Short:
            v = static_cast<short>(va_arg(ap, int));
            break;
          case Size::Long:
            v = va_arg(ap, long);
            break;
          case Size::LongLong:
            v = va_arg(ap, long long);
            break;
          case Size::SizeT:
            v = va_arg(ap, ssize_t);
            break;
          default:
            v = va_arg(ap, int);
            break;
        }
        unsigned long long mag =
            v < 0 ? 0ULL - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
        if (!(o = integer(o, end, v < 0, mag, 'd', left, zero, false, width, prec))) return false;
        break;
      }
      case 'u':
      case 'x':
      case 'X': {
        if (alt && conv == 'u') return false;
        unsigned long long v;
        switch (size) {
          case Size::Char:
            v = static_cast<unsigned char>(va_arg(ap, unsigned));
            break;
          case Size::Short:
            v = static_cast<unsigned short>(va_arg(ap, unsigned));
            break;
          case Size::Long:
            v = va_arg(ap, unsigned long);
            break;
          case Size::LongLong:
            v = va_arg(ap, unsigned long long);
            break;
          case Size::SizeT:
            v = va_arg(ap, size_t);
            break;
          default:
            v = va_arg(ap, unsigned);
            break;
        }
        if (!(o = integer(o, end, false, v, conv, left, zero, alt, width, prec))) return false;
        break;
      }
      case 'c': {
        if (size != Size::Int || alt || zero) return false;
        char c = static_cast<char>(static_cast<unsigned char>(va_arg(ap, int)));
        if (width <= 1) {
          if (o == end) return false;
          *o++ = c;
        } else if (!(o = text(o, end, &c, 1, left, width))) {
          return false;
        }
        break;
      }
      case 's': {
        if (size != Size::Int || alt || zero) return false;
        const char* s = va_arg(ap, const char*);
        if (!s) return false;
        size_t n = prec >= 0 ? strnlen(s, static_cast<size_t>(prec)) : strlen(s);
        if (width <= 0) {
          if (static_cast<size_t>(end - o) < n) return false;
          memcpy(o, s, n), o += n;
        } else if (!(o = text(o, end, s, n, left, width))) {
          return false;
        }
        break;
      }
      default:
        return false;
    }
  }
  *len = static_cast<size_t>(o - dst);
  return true;
}

bool formatFraction5(double x, char out[7]) {
  if (!(x >= 0 && x < 1)) return false;
  // k = floor(x * 100000) exactly: fma gives the sign of x * 100000 - c
  // without an intermediate rounding.
  double k = std::floor(x * 1e5);
  if (std::fma(x, 1e5, -k) < 0)
    k -= 1;
  else if (std::fma(x, 1e5, -(k + 1)) >= 0)
    k += 1;
  double r = std::fma(x, 1e5, -(k + 0.5));
  auto v = static_cast<uint32_t>(k);
  if (r > 0 || (r == 0 && (v & 1))) ++v;
  out[0] = v >= 100000 ? '1' : '0';
  out[1] = '.';
  if (v >= 100000) v = 0;
  for (int i = 6; i >= 2; --i, v /= 10) out[i] = static_cast<char>('0' + v % 10);
  return true;
}

}  // namespace wp
