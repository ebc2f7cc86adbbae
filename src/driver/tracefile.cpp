#include "driver/tracefile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace wp {

namespace {
constexpr size_t kChunk = 1 << 20;
}

TraceFile::~TraceFile() {
  if (fd_ >= 0) close(fd_);
}

bool TraceFile::open(const std::string& path) {
  fd_ = ::open(path.c_str(), O_RDONLY);
  if (fd_ < 0) return false;
  buf_.resize(kChunk);
  return true;
}

void TraceFile::openMemory(const uint8_t* data, size_t size) {
  mem_ = data;
  memSize_ = size;
}

// Tops the buffer up until it holds `want` unread bytes or the input ends.
bool TraceFile::fill(size_t want) {
  if (mem_) return false;
  if (head_ > 0 && buf_.size() - head_ < want) {
    memmove(buf_.data(), buf_.data() + head_, tail_ - head_);
    tail_ -= head_;
    head_ = 0;
  }
  while (tail_ - head_ < want && !eof_ && !error_) {
    ssize_t n = ::read(fd_, buf_.data() + tail_, buf_.size() - tail_);
    if (n > 0) {
      tail_ += static_cast<size_t>(n);
    } else if (n == 0) {
      eof_ = true;
    } else if (errno != EINTR) {
      error_ = true;
    }
  }
  return tail_ - head_ >= want;
}

size_t TraceFile::read(void* dst, size_t n) {
  auto* out = static_cast<uint8_t*>(dst);
  if (mem_) {
    size_t avail = memSize_ - static_cast<size_t>(offset_);
    size_t k = n < avail ? n : avail;
    if (out && k) memcpy(out, mem_ + offset_, k);
    offset_ += static_cast<int64_t>(k);
    return k;
  }
  size_t done = 0;
  while (done < n) {
    if (head_ == tail_) {
      head_ = tail_ = 0;
      if (!fill(1)) break;
    }
    size_t k = tail_ - head_;
    if (k > n - done) k = n - done;
    if (out) memcpy(out + done, buf_.data() + head_, k);
    head_ += k;
    done += k;
  }
  offset_ += static_cast<int64_t>(done);
  return done;
}

size_t TraceFile::peek(const uint8_t** data, size_t n) {
  if (mem_) {
    size_t avail = memSize_ - static_cast<size_t>(offset_);
    *data = mem_ + offset_;
    return n < avail ? n : avail;
  }
  if (n > buf_.size()) n = buf_.size();
  fill(n);
  *data = buf_.data() + head_;
  size_t avail = tail_ - head_;
  return n < avail ? n : avail;
}

}  // namespace wp
