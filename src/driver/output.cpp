#include "driver/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "driver/format.h"

namespace wp {

namespace {
constexpr size_t kBufferSize = 1 << 16;
// Room kept free before a formatted write, so that a listing line is
// formatted in place without a retry.
}  // namespace

Output::Output() : fp_(stdout), buf_(kBufferSize) {}

Output::~Output() {
  try {
    sync();
  } catch (const WriteError&) {
  }
  closeFile();
}

void Output::closeFile() {
  if (fp_ != stdfp_) fclose(fp_);
  fp_ = stdfp_;
  fileName_.clear();
  holding_ = false;
  held_.clear();
}

void Output::setFile(FILE* f) {
  sync();
  closeFile();
  fp_ = f;
  shares_ = -1;
}

bool Output::openFile(const char* path) {
  // Not truncated here: a run that fails before its trace is open must leave
  // an existing file as it was.
  int fd = open(path, O_WRONLY | O_CREAT, 0666);
  if (fd < 0) return false;
  FILE* f = fdopen(fd, "w");
  if (!f) {
    int saved = errno;
    close(fd);
    errno = saved;
    return false;
  }
  setFile(f);
  fileName_ = path;
  holding_ = true;
  return true;
}

void Output::startListing() {
  if (!holding_) return;
  holding_ = false;
  int fd = fileno(fp_);
  struct stat st;
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && ftruncate(fd, 0) != 0) fail(errno, true);
  if (!held_.empty() && fwrite(held_.data(), 1, held_.size(), fp_) != held_.size())
    fail(errno, true);
  held_.clear();
}

const char* Output::sameFileAs(int fd) const {
  struct stat in, out;
  if (fd < 0 || fstat(fd, &in) != 0 || !S_ISREG(in.st_mode)) return nullptr;
  if (fstat(fileno(fp_), &out) != 0 || !S_ISREG(out.st_mode)) return nullptr;
  if (in.st_dev != out.st_dev || in.st_ino != out.st_ino) return nullptr;
  return fileName_.empty() ? "standard output" : fileName_.c_str();
}

bool Output::sharesStdout() {
  if (shares_ < 0) {
    struct stat a, b;
    bool known = fstat(fileno(fp_), &a) == 0 && fstat(fileno(stdfp_), &b) == 0;
    bool same = !known || (a.st_dev == b.st_dev && a.st_ino == b.st_ino);
    // Two writers to the null device cannot be told apart.
    shares_ = same && !writesToNull(fileno(fp_)) ? 1 : 0;
  }
  return shares_ == 1;
}

void Output::finish() {
  sync();
  if (fp_ != stdfp_ && !error_ && !muted_ && fflush(stdfp_) != 0) fail(errno, false);
  if (fileName_.empty() || fp_ == stdfp_) return;
  // Bytes held for a listing that never started are dropped; the name stays
  // for the report.
  FILE* f = fp_;
  fp_ = stdfp_;
  holding_ = false;
  held_.clear();
  if (fclose(f) != 0) fail(errno, true);
}

void Output::fail(int err, bool inFile) {
  if (!error_) {
    error_ = err ? err : EIO;
    errorInFile_ = inFile;
  }
  len_ = 0;
  throw WriteError{};
}

void Output::reportWriteError(const char* prog) {
  if (!error_ || error_ == EPIPE) return;
  if (errorInFile_ && !fileName_.empty()) {
    fprintf(errfp_, "%s: write error: %s: %s\n", prog, fileName_.c_str(), strerror(error_));
  } else {
    fprintf(errfp_, "%s: write error: %s\n", prog, strerror(error_));
  }
  fflush(errfp_);
}

bool writesToNull(int fd) {
  struct stat null, st;
  int mode = fd >= 0 ? fcntl(fd, F_GETFL) : -1;
  return mode >= 0 && (mode & O_ACCMODE) != O_RDONLY && stat("/dev/null", &null) == 0 &&
         fstat(fd, &st) == 0 && S_ISCHR(st.st_mode) && st.st_rdev == null.st_rdev;
}

void Output::guardStandardStreams() {
  for (int want : {1, 2}) {
    if (fcntl(want, F_GETFD) != -1 || errno != EBADF) continue;
    int fd = open("/dev/null", O_RDONLY);
    if (fd >= 0 && fd != want) {
      dup2(fd, want);
      close(fd);
    }
  }
}

// Bytes that cannot be written end the run; after a failure nothing more is
// tried.
void Output::drain() {
  if (len_ == 0) return;
  if (error_ || muted_) {
    len_ = 0;
    return;
  }
  if (holding_) {
    held_.append(buf_.data(), len_);
  } else if (fwrite(buf_.data(), 1, len_, fp_) != len_) {
    fail(errno, fp_ != stdfp_);
  }
  written_ += len_;
  len_ = 0;
}

void Output::sync() {
  drain();
  if (!error_ && !holding_ && fflush(fp_) != 0) fail(errno, fp_ != stdfp_);
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
    if (n >= buf_.size() && !holding_ && !error_) {
      if (muted_) return;
      if (fwrite(data, 1, n, fp_) != n) fail(errno, fp_ != stdfp_);
      written_ += n;
      if (lineFlush_ && memchr(data, '\n', n)) sync();
      return;
    }
    if (n >= buf_.size()) buf_.resize(n);
  }
  memcpy(buf_.data() + len_, data, n);
  len_ += n;
  if (lineFlush_ && memchr(data, '\n', n)) sync();
}

void Output::vprintf(const char* fmt, va_list ap) {
  // The listing's own formats go through the fast formatter; the C library
  // takes what it does not do (floating point) and texts that do not fit.
  va_list copy;
  va_copy(copy, ap);
  if (!fast(fmt, ap)) slow(fmt, copy);
  va_end(copy);
}

void Output::syncIfLine(size_t k) {
  if (memchr(buf_.data() + len_ - k, '\n', k)) sync();
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
  va_list ap;
  va_start(ap, fmt);
  bool done = fast(fmt, ap);
  va_end(ap);
  if (done) return;
  va_start(ap, fmt);
  slow(fmt, ap);
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
  // Only a listing file that standard output also reaches needs the two
  // kept in step; otherwise each stream keeps its own order and standard
  // output is written out before standard error and at the end.
  bool shared = fp_ != stdfp_ && sharesStdout();
  if (shared) sync();
  va_list ap;
  va_start(ap, fmt);
  bool failed = false;
  if (fp_ == stdfp_) {
    vprintf(fmt, ap);
  } else if (!error_ && !muted_) {
    // Before the listing starts, a notice that cannot be written ends the
    // run with the "-o" file untouched.
    failed = vfprintf(stdfp_, fmt, ap) < 0 || ((shared || holding_) && fflush(stdfp_) != 0);
  }
  va_end(ap);
  if (failed) fail(errno, false);
}

}  // namespace wp
