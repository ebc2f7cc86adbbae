#include "driver/tracefile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "input/compression.h"
#include "input/decompress.h"

namespace wp {

namespace {
constexpr size_t kChunk = 1 << 20;
}

TraceFile::~TraceFile() {
  src_.reset();
  if (fd_ >= 0 && ownsFd_) close(fd_);
}

bool TraceFile::open(const std::string& path) {
  if (path == "-") {
    fd_ = STDIN_FILENO;
  } else {
    fd_ = ::open(path.c_str(), O_RDONLY);
    if (fd_ < 0) return false;
    ownsFd_ = true;
  }
  buf_.resize(kChunk);
  return true;
}

void TraceFile::openMemory(const uint8_t* data, size_t size) {
  Compression kind = sniffCompression(data, size);
  if (kind == Compression::None) {
    mem_ = data;
    memSize_ = size;
    return;
  }
  CompressedInput in;
  in.mem = data;
  in.memSize = size;
  src_ = openDecompressor(kind, std::move(in), &errorText_);
  probed_ = true;
  buf_.resize(kChunk);
  if (!src_) error_ = true;
}

// The first bytes tell whether a decompressor goes between the descriptor
// and the buffer; they are handed to it.
void TraceFile::probe() {
  probed_ = true;
  while (tail_ < kSniffBytes && !eof_ && !error_) {
    ssize_t n = ::read(fd_, buf_.data() + tail_, buf_.size() - tail_);
    if (n > 0) {
      tail_ += static_cast<size_t>(n);
    } else if (n == 0) {
      if (!waitForMore()) eof_ = true;
    } else if (errno != EINTR) {
      error_ = true;
    }
  }
  Compression kind = sniffCompression(buf_.data(), tail_);
  if (kind == Compression::None) return;
  CompressedInput in;
  in.fd = fd_;
  in.prefix.assign(buf_.begin(), buf_.begin() + static_cast<ptrdiff_t>(tail_));
  in.ahead = ahead_;
  head_ = tail_ = 0;
  eof_ = false;
  src_ = openDecompressor(kind, std::move(in), &errorText_);
  if (!src_) error_ = true;
}

// Following a growing file: true once it may have grown, false to end.
bool TraceFile::waitForMore() {
  if (!stop_ || *stop_) return false;
  struct stat st;
  if (fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode)) return false;
  struct timespec pause = {0, 100 * 1000 * 1000};
  nanosleep(&pause, nullptr);
  return !*stop_;
}

// Tops the buffer up until it holds `want` unread bytes or the input ends.
bool TraceFile::fill(size_t want) {
  if (mem_) return false;
  if (!probed_) probe();
  if (head_ > 0 && buf_.size() - head_ < want) {
    memmove(buf_.data(), buf_.data() + head_, tail_ - head_);
    tail_ -= head_;
    head_ = 0;
  }
  while (tail_ - head_ < want && !eof_ && !error_) {
    ssize_t n = src_ ? src_->read(buf_.data() + tail_, buf_.size() - tail_)
                     : ::read(fd_, buf_.data() + tail_, buf_.size() - tail_);
    if (n > 0) {
      tail_ += static_cast<size_t>(n);
    } else if (n == 0) {
      if (src_ || !waitForMore()) eof_ = true;
    } else if (src_) {
      errorText_ = src_->error();
      error_ = true;
    } else if (errno != EINTR) {
      error_ = true;
    } else if (stop_ && *stop_) {
      eof_ = true;
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
