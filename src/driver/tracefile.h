// Sequential reader of the trace file with its own buffer, so that the header's
// optional marker can be peeked at without seeking (pipes work too).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wp {

class TraceFile {
 public:
  ~TraceFile();
  // Opens a path; false with errno set on failure.
  bool open(const std::string& path);
  // Reads from memory instead (tests, fuzzing).
  void openMemory(const uint8_t* data, size_t size);
  bool isOpen() const { return fd_ >= 0 || mem_; }
  // The descriptor of an opened path, -1 for memory.
  int fd() const { return fd_; }

  // Copies up to n bytes to dst (which may be null to skip them); returns the
  // count read. A short count means end of file or, with error() set, a read
  // error (errno tells which).
  size_t read(void* dst, size_t n);
  // Makes up to n bytes available without consuming them; returns the count.
  size_t peek(const uint8_t** data, size_t n);
  bool error() const { return error_; }
  // Offset of the next byte to be read.
  int64_t tell() const { return offset_; }

 private:
  bool fill(size_t want);

  int fd_ = -1;
  const uint8_t* mem_ = nullptr;
  size_t memSize_ = 0;
  std::vector<uint8_t> buf_;
  size_t head_ = 0, tail_ = 0;  // unread bytes are buf_[head_, tail_)
  int64_t offset_ = 0;
  bool eof_ = false, error_ = false;
};

}  // namespace wp
