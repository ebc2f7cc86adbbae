#include "input/compression.h"

#include <cstring>

namespace wp {

Compression sniffCompression(const uint8_t* p, size_t n) {
  struct Magic {
    Compression kind;
    const char* bytes;
    size_t len;
  };
  static const Magic kMagics[] = {
      {Compression::Gzip, "\x1f\x8b", 2},
      {Compression::Bzip2, "BZh", 3},
      {Compression::Xz,
       "\xfd"
       "7zXZ\0",
       6},
      {Compression::Zstd, "\x28\xb5\x2f\xfd", 4},
      {Compression::Lz4, "\x04\x22\x4d\x18", 4},
  };
  for (const Magic& m : kMagics)
    if (n >= m.len && memcmp(p, m.bytes, m.len) == 0) return m.kind;
  return Compression::None;
}

const char* compressionName(Compression c) {
  switch (c) {
    case Compression::Gzip:
      return "gzip";
    case Compression::Bzip2:
      return "bzip2";
    case Compression::Xz:
      return "xz";
    case Compression::Zstd:
      return "zstd";
    case Compression::Lz4:
      return "lz4";
    case Compression::None:
      break;
  }
  return "none";
}

}  // namespace wp
