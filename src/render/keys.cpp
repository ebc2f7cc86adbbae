// Keys derived from labels, for the texts that are emitted by label alone.
#include "render/keys.h"

#include <cctype>

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

}  // namespace wp
