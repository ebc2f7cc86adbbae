// Where the run of one of several traces writes. Until the traces before it
// are done, its listing, standard output and standard error are spooled in
// order to a temporary file; then what was spooled is replayed and the rest
// goes straight through. Each stream thus gets the bytes of a one-job run.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace wp {

class Output;

class TraceSink {
 public:
  // The real streams; `listing` may be `out`.
  TraceSink(FILE* listing, FILE* out, FILE* err);
  ~TraceSink();
  TraceSink(const TraceSink&) = delete;
  TraceSink& operator=(const TraceSink&) = delete;

  // Points a run's streams at the sink (the listing stream becomes the
  // output's own).
  void attach(Output& o);
  // Replays what was spooled; from now on writes go straight through.
  void goDirect();
  // Errno of the first write to a real stream (or to the spool) that
  // failed, 0 when none did. Writes after one fail at once with it.
  int error() const {
    std::lock_guard<std::mutex> lk(m_);
    return error_;
  }
  // Whether that write was to the listing stream (else standard output or
  // error, or the spool).
  bool errorInListing() const {
    std::lock_guard<std::mutex> lk(m_);
    return errorInListing_;
  }

 private:
  enum Stream { kListing, kOut, kErr };
  struct Cookie {
    TraceSink* sink;
    Stream which;
  };
  static ssize_t onWrite(void* cookie, const char* buf, size_t n);
  bool put(Stream which, const char* buf, size_t n);
  bool emit(Stream which, const char* buf, size_t n);
  bool replay(Stream which, int from, off_t at, size_t len);

  FILE* real_[3];
  Cookie cookies_[3];
  FILE* streams_[3] = {nullptr, nullptr, nullptr};
  bool discard_[3] = {false, false, false};  // the real stream is /dev/null
  bool listingOwned_ = false;                // handed to an Output, which closes it
  mutable std::mutex m_;
  std::condition_variable turn_;  // without a temporary file, wait for the turn
  bool direct_ = false;
  FILE* spool_ = nullptr;
  int error_ = 0;
  bool errorInListing_ = false;
};

}  // namespace wp
