// A decompressing stream over a file descriptor or a block of memory. The
// bytes already read to recognise the format go in front of the rest.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "input/compression.h"
#include "input/source.h"

namespace wp {

struct CompressedInput {
  int fd = -1;                   // read from here after `prefix`
  const uint8_t* mem = nullptr;  // or the whole stream in memory
  size_t memSize = 0;
  std::vector<uint8_t> prefix;
  // Decompress on a thread of its own, a few blocks ahead of the reader, so
  // that decompression and decoding share the machine's cores.
  bool ahead = false;
};

// Null when this build cannot decompress `kind`; `why` then says so.
std::unique_ptr<Source> openDecompressor(Compression kind, CompressedInput in, std::string* why);

}  // namespace wp
