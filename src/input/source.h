// A stream of trace bytes that is not a plain file descriptor: the reader's
// buffer is filled from it and does not know what lies behind.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace wp {

class Source {
 public:
  virtual ~Source() = default;
  // Up to n bytes into dst: the count, 0 at the end, -1 on an error that
  // error() describes.
  virtual ssize_t read(uint8_t* dst, size_t n) = 0;
  virtual const std::string& error() const = 0;
};

}  // namespace wp
