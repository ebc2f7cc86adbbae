// Sequential reader of the trace file with its own buffer, so that the header's
// optional marker can be peeked at without seeking (pipes work too). A
// compressed trace is recognised by its first bytes and decompressed as it
// streams; the reader above sees the same bytes either way.
#pragma once

#include <csignal>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "input/source.h"

namespace wp {

class TraceFile {
 public:
  ~TraceFile();
  // Opens a path ("-" is standard input); false with errno set on failure.
  bool open(const std::string& path);
  // Reads from memory instead (tests, fuzzing).
  void openMemory(const uint8_t* data, size_t size);
  bool isOpen() const { return fd_ >= 0 || mem_ || src_; }
  // At the end of a regular file, wait for more data until *stop is set.
  void follow(const volatile std::sig_atomic_t* stop) { stop_ = stop; }
  const volatile std::sig_atomic_t* followFlag() const { return stop_; }
  // Decompress on a thread of its own (the whole program; not the fuzzer).
  void decompressAhead(bool on) { ahead_ = on; }
  // The descriptor of an opened path, -1 for memory.
  int fd() const { return fd_; }

  // Copies up to n bytes to dst (which may be null to skip them); returns the
  // count read. A short count means end of file or, with error() set, a read
  // error (errno tells which, or errorText() when it is not the system's).
  size_t read(void* dst, size_t n);
  // Makes up to n bytes available without consuming them; returns the count.
  size_t peek(const uint8_t** data, size_t n);
  bool error() const { return error_; }
  const std::string& errorText() const { return errorText_; }
  // Offset of the next byte to be read (in the decompressed stream).
  int64_t tell() const { return offset_; }

 private:
  bool fill(size_t want);
  void probe();
  bool waitForMore();

  int fd_ = -1;
  bool ownsFd_ = false;
  const uint8_t* mem_ = nullptr;
  size_t memSize_ = 0;
  std::unique_ptr<Source> src_;  // a decompressor, when the data is compressed
  bool probed_ = false, ahead_ = false;
  const volatile std::sig_atomic_t* stop_ = nullptr;
  std::vector<uint8_t> buf_;
  size_t head_ = 0, tail_ = 0;  // unread bytes are buf_[head_, tail_)
  int64_t offset_ = 0;
  bool eof_ = false, error_ = false;
  std::string errorText_;
};

}  // namespace wp
