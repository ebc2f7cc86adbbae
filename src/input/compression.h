// Compressed traces are recognised by their first bytes, never by their name.
#pragma once

#include <cstddef>
#include <cstdint>

namespace wp {

enum class Compression { None, Gzip, Bzip2, Xz, Zstd, Lz4 };

// The longest signature below; fewer bytes only ever give None.
constexpr size_t kSniffBytes = 6;

Compression sniffCompression(const uint8_t* p, size_t n);
const char* compressionName(Compression c);

}  // namespace wp
