// Keys derived from labels, for the texts that are emitted by label alone.
#include "render/keys.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace wp {

const char* snakeKey(const char* label, char* buf, size_t size) {
  size_t n = 0;
  bool gap = false;
  for (const char* p = label; *p && n + 2 < size; ++p) {
    auto c = static_cast<unsigned char>(*p);
    char add = 0;
    if (isalnum(c))
      add = static_cast<char>(tolower(c));
    else if (c == '#')
      add = 'n';
    if (!add) {
      gap = n > 0;
      continue;
    }
    if (gap) buf[n++] = '_';
    gap = c == '#';
    buf[n++] = add;
  }
  if (n == 0 && size > 5) return "text";
  buf[n] = '\0';
  return buf;
}

const char* joinKey(const char* key, const char* suffix, char* buf, size_t size) {
  if (size == 0) return buf;
  size_t n = std::min(strlen(key), size - 1);
  memcpy(buf, key, n);
  size_t m = std::min(strlen(suffix), size - 1 - n);
  memcpy(buf + n, suffix, m);
  buf[n + m] = '\0';
  return buf;
}

}  // namespace wp
