// The listing stream and the two other streams the tool writes to.
//
// The listing (`outfp`) is buffered in memory for speed, but every byte that
// reaches standard error or standard output by another path first flushes it,
// so each stream sees exactly the bytes, in the order, that flushing after
// every line would give.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "driver/format.h"

#define WP_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))

namespace wp {

// Thrown when the listing (or standard output) cannot be written: the run
// ends at once, and the top level reports it.
struct WriteError {};

// Whether descriptor fd writes to the null device (a descriptor open for
// reading only, as a closed standard stream is filled in, fails its writes
// instead).
bool writesToNull(int fd);

class Output {
 public:
  Output();
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Listing stream (outfp).
  void printf(const char* fmt, ...) WP_PRINTF(2, 3);
  void vprintf(const char* fmt, va_list ap) WP_PRINTF(2, 0);
  // printf in two halves, for callers that are variadic themselves: fast()
  // formats what the fast formatter does and is false, the buffer untouched,
  // for the rest; the caller then starts its arguments again for slow().
  // This spares copying the arguments of every line for the rare slow one.
  bool fast(const char* fmt, va_list ap) {
    if (buf_.size() - len_ < kFastRoom) drain();
    size_t k;
    if (!formatFast(buf_.data() + len_, buf_.size() - len_, fmt, ap, &k)) return false;
    len_ += k;
    if (lineFlush_) syncIfLine(k);
    return true;
  }
  void slow(const char* fmt, va_list ap) WP_PRINTF(2, 0) { slowPrintf(fmt, ap); }
  void write(const void* data, size_t n);
  void write(std::string_view s) { write(s.data(), s.size()); }
  void put(char c) {
    if (len_ == buf_.size()) drain();
    buf_[len_++] = c;
    if (c == '\n' && lineFlush_) flush();
  }
  // Makes room for n bytes and returns where to write them; commit() adds them.
  char* reserve(size_t n);
  void commit(size_t n);
  // A line is complete. Buffered, this writes nothing; with line flushing on
  // (a benchmark switch) it writes the buffer out.
  void flush() {
    if (lineFlush_) sync();
  }
  // Writes everything buffered to the stream now.
  void sync();

  // Redirects the listing to a stream (owned from now on).
  void setFile(FILE* f);
  // Redirects the listing to the "-o" file, created when missing but not yet
  // emptied: what is listed before startListing() is held back. False with
  // errno set when it cannot be opened.
  bool openFile(const char* path);
  // The run is going to write its listing: an "-o" file is emptied now and
  // receives what was held back. A run that never gets here leaves the file
  // as it was.
  void startListing();
  // The name of the file (or "standard output") that receives the listing
  // when it is the regular file open as `fd`, else null.
  const char* sameFileAs(int fd) const;
  // Writes out everything and closes an "-o" file; throws WriteError.
  void finish();
  bool toStdout() const { return fp_ == stdfp_; }

  // Errno of the first failed write, 0 when none failed.
  int writeError() const { return error_; }
  // A write on the listing's behalf by other means failed (errno err; in
  // the "-o" file when inFile): recorded as the listing's own failure, and
  // the run ends (throws WriteError).
  [[noreturn]] void failWith(int err, bool inFile) { fail(err, inFile); }
  // "PROG: write error: [FILE: ]REASON" on standard error; nothing for a
  // closed pipe, whose reader has gone on purpose.
  void reportWriteError(const char* prog);
  // A closed standard output or error gets /dev/null opened for reading in
  // its place, so that writes to it fail rather than reach a file opened
  // later in its descriptor.
  static void guardStandardStreams();
  // Benchmarks can turn on a real flush after every line to measure buffering.
  void setLineFlush(bool on) { lineFlush_ = on; }

  // Standard error: flushes the listing first.
  void err(const char* fmt, ...) WP_PRINTF(2, 3);
  void verr(const char* fmt, va_list ap) WP_PRINTF(2, 0);
  void perror(const char* what);
  // Standard output when it is not the listing (a few separators and notices).
  void out(const char* fmt, ...) WP_PRINTF(2, 3);

  // Where "standard error" and "standard output" go (a fuzzer mutes them).
  void setStreams(FILE* err, FILE* std) {
    sync();
    if (fp_ == stdfp_) fp_ = std;
    errfp_ = err;
    stdfp_ = std;
    shares_ = -1;
  }

  size_t bytesWritten() const { return written_ + len_; }

  // While muted, the listing and the standard output notices are formatted
  // as usual but dropped; standard error is not muted.
  bool muted() const { return muted_; }
  void setMuted(bool on) {
    if (on == muted_) return;
    sync();
    muted_ = on;
  }
  // The streams themselves, for a run that hands them on to the runs of
  // several traces.
  FILE* listingStream() const { return fp_; }
  FILE* errorStream() const { return errfp_; }
  FILE* outputStream() const { return stdfp_; }

 private:
  static constexpr size_t kFastRoom = 1024;  // the longest line the fast path takes whole
  void drain();
  void syncIfLine(size_t k);
  void slowPrintf(const char* fmt, va_list ap) WP_PRINTF(2, 0);
  [[noreturn]] void fail(int err, bool inFile);
  void closeFile();
  bool sharesStdout();

  FILE* fp_;
  FILE* errfp_ = stderr;
  FILE* stdfp_ = stdout;
  // The buffer is only ever grown while empty, so growth need not copy; it
  // is left uninitialised (a run allocates it once).
  struct Buffer {
    std::unique_ptr<char[]> p;
    size_t n = 0;
    explicit Buffer(size_t k) : p(new char[k]), n(k) {}
    char* data() { return p.get(); }
    size_t size() const { return n; }
    void resize(size_t k) { p.reset(new char[k]), n = k; }
    char& operator[](size_t i) { return p[i]; }
  } buf_;
  size_t len_ = 0;
  size_t written_ = 0;
  bool lineFlush_ = false;
  std::string fileName_;  // of the "-o" file
  bool holding_ = false;  // the "-o" file is not emptied yet
  std::string held_;      // listed before it was
  int error_ = 0;
  bool errorInFile_ = false;
  bool muted_ = false;
  int shares_ = -1;  // the listing file is standard output's file: 1, 0, -1 not yet known
};

}  // namespace wp
