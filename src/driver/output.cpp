#include "driver/output.h"

#include <cerrno>
#include <cstring>

#include "driver/format.h"

namespace wp {

namespace {
constexpr size_t kBufferSize = 1 << 16;
// Room kept free before a formatted write, so that a listing line is
// formatted in place without a retry.
constexpr size_t kFastRoom = 1024;
}  // namespace

Output::Output() : fp_(stdout), buf_(kBufferSize) {}

Output::~Output() {
  sync();
  if (fp_ != stdfp_) fclose(fp_);
}

void Output::setFile(FILE* f) {
  sync();
  if (fp_ != stdfp_) fclose(fp_);
  fp_ = f;
}

void Output::drain() {
  if (len_ == 0) return;
  if (!muted_) {
    fwrite(buf_.data(), 1, len_, fp_);
    written_ += len_;
  }
  len_ = 0;
}

void Output::sync() {
  drain();
  fflush(fp_);
}

char* Output::reserve(size_t n) {
  if (buf_.size() - len_ < n) {
    drain();
    if (buf_.size() < n) buf_.resize(n);
  }
  return buf_.data() + len_;
}

void Output::commit(size_t n) {
  len_ += n;
}

void Output::write(const void* data, size_t n) {
  if (n > buf_.size() - len_) {
    drain();
    if (n >= buf_.size()) {
      if (muted_) return;
      fwrite(data, 1, n, fp_);
      written_ += n;
      if (lineFlush_ && memchr(data, '\n', n)) fflush(fp_);
      return;
    }
  }
  memcpy(buf_.data() + len_, data, n);
  len_ += n;
  if (lineFlush_ && memchr(data, '\n', n)) sync();
}

void Output::vprintf(const char* fmt, va_list ap) {
  // The listing's own formats go through the fast formatter; the C library
  // takes what it does not do (floating point) and texts that do not fit.
  if (buf_.size() - len_ < kFastRoom) drain();
  va_list slow;
  va_copy(slow, ap);
  size_t k;
  if (formatFast(buf_.data() + len_, buf_.size() - len_, fmt, ap, &k)) {
    va_end(slow);
    len_ += k;
    if (lineFlush_ && memchr(buf_.data() + len_ - k, '\n', k)) sync();
    return;
  }
  slowPrintf(fmt, slow);
  va_end(slow);
}

// The C library's formatting, straight into the buffer (grown when the text
// does not fit).
void Output::slowPrintf(const char* fmt, va_list ap) {
  size_t room = buf_.size() - len_;
  va_list again;
  va_copy(again, ap);
  int n = vsnprintf(buf_.data() + len_, room, fmt, ap);
  if (n < 0) {
    va_end(again);
    return;
  }
  if (static_cast<size_t>(n) >= room) {
    drain();
    if (static_cast<size_t>(n) >= buf_.size()) buf_.resize(n + 1);
    vsnprintf(buf_.data(), buf_.size(), fmt, again);
  }
  va_end(again);
  len_ += n;
  if (lineFlush_ && memchr(buf_.data() + len_ - n, '\n', static_cast<size_t>(n))) sync();
}

void Output::printf(const char* fmt, ...) {
  // The fast formatter first; when it declines, the arguments are walked
  // again from the start, which saves copying them beforehand.
  if (buf_.size() - len_ < kFastRoom) drain();
  va_list ap;
  va_start(ap, fmt);
  size_t k;
  bool done = formatFast(buf_.data() + len_, buf_.size() - len_, fmt, ap, &k);
  va_end(ap);
  if (done) {
    len_ += k;
    if (lineFlush_ && memchr(buf_.data() + len_ - k, '\n', k)) sync();
    return;
  }
  va_start(ap, fmt);
  slowPrintf(fmt, ap);
  va_end(ap);
}

void Output::verr(const char* fmt, va_list ap) {
  sync();
  fflush(stdfp_);
  vfprintf(errfp_, fmt, ap);
  fflush(errfp_);
}

void Output::err(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  verr(fmt, ap);
  va_end(ap);
}

// As perror(3) prints it.
void Output::perror(const char* what) {
  int saved = errno;
  sync();
  fflush(stdfp_);
  if (what && *what) {
    fprintf(errfp_, "%s: %s\n", what, strerror(saved));
  } else {
    fprintf(errfp_, "%s\n", strerror(saved));
  }
  fflush(errfp_);
}

void Output::out(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  if (fp_ == stdfp_) {
    vprintf(fmt, ap);
  } else if (!muted_) {
    sync();
    vfprintf(stdfp_, fmt, ap);
    fflush(stdfp_);
  }
  va_end(ap);
}

}  // namespace wp
