#include "values/textforms.h"

#include <cstdio>
#include <cstring>

namespace wp {

int int8tostr(const Int8* rec, char* buf, int size, int base) {
  if (rec->sign == 0) return -1208;  // NULL
  uint64_t mag = uint64_t{static_cast<uint32_t>(rec->hi)} << 32 | static_cast<uint32_t>(rec->lo);
  if (mag > uint64_t{INT64_MAX}) return -1284;  // does not fit a signed 64-bit value
  char tmp[80];
  bool neg = rec->sign < 0 && mag != 0;
  int n = base == 16 ? snprintf(tmp, sizeof tmp, "%s%llx", neg ? "-" : "",
                                static_cast<unsigned long long>(mag))
                     : snprintf(tmp, sizeof tmp, "%s%llu", neg ? "-" : "",
                                static_cast<unsigned long long>(mag));
  if (n < 0 || n >= size) return -1207;
  memcpy(buf, tmp, static_cast<size_t>(n) + 1);
  return 0;
}

int dectoasc(const Decimal*, char* buf, int len, int) {
  // Not built yet.
  if (len > 0) memset(buf, ' ', static_cast<size_t>(len));
  return 0;
}

int rdatestr(int32_t, char* buf) {
  // Not built yet.
  buf[0] = '\0';
  return 0;
}

}  // namespace wp
