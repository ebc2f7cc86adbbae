#include "traces/sink.h"

#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "driver/output.h"

namespace wp {

TraceSink::TraceSink(FILE* listing, FILE* out, FILE* err) : real_{listing, out, err} {
  cookie_io_functions_t io = {nullptr, &TraceSink::onWrite, nullptr, nullptr};
  for (int i = 0; i < 3; ++i) discard_[i] = real_[i] && writesToNull(fileno(real_[i]));
  for (int i = 0; i < 3; ++i) {
    cookies_[i] = Cookie{this, static_cast<Stream>(i)};
    if (i == kListing && listing == out) continue;
    streams_[i] = fopencookie(&cookies_[i], "w", io);
    // Unbuffered: each write the run makes reaches the sink at once, in order.
    if (streams_[i]) setvbuf(streams_[i], nullptr, _IONBF, 0);
  }
  if (!streams_[kListing]) streams_[kListing] = streams_[kOut];
}

TraceSink::~TraceSink() {
  goDirect();
  if (streams_[kErr]) fclose(streams_[kErr]);
  if (streams_[kOut]) fclose(streams_[kOut]);
  if (streams_[kListing] != streams_[kOut] && !listingOwned_ && streams_[kListing])
    fclose(streams_[kListing]);
}

void TraceSink::attach(Output& o) {
  o.setStreams(streams_[kErr], streams_[kOut]);
  if (streams_[kListing] != streams_[kOut]) {
    o.setFile(streams_[kListing]);
    listingOwned_ = true;
  }
}

ssize_t TraceSink::onWrite(void* cookie, const char* buf, size_t n) {
  auto* c = static_cast<Cookie*>(cookie);
  if (c->sink->put(c->which, buf, n)) return static_cast<ssize_t>(n);
  errno = c->sink->error_;
  return -1;
}

bool TraceSink::emit(Stream which, const char* buf, size_t n) {
  FILE* to = real_[which];
  if (fwrite(buf, 1, n, to) == n && fflush(to) == 0) return true;
  clearerr(to);
  error_ = errno ? errno : EIO;
  errorInListing_ = which == kListing;
  return false;
}

bool TraceSink::put(Stream which, const char* buf, size_t n) {
  std::unique_lock<std::mutex> lk(m_);
  if (error_) return false;
  // A listing sent to /dev/null (with -report or -db, say) is not spooled.
  if (discard_[which]) return true;
  if (!direct_ && !spool_) {
    spool_ = tmpfile();
    // Nowhere to spool: the run waits until the traces before it are out.
    if (!spool_) turn_.wait(lk, [&] { return direct_; });
  }
  if (direct_) return error_ ? false : emit(which, buf, n);
  uint8_t head[5] = {static_cast<uint8_t>(which)};
  auto len = static_cast<uint32_t>(n);
  memcpy(head + 1, &len, 4);
  if (fwrite(head, 1, 5, spool_) == 5 && fwrite(buf, 1, n, spool_) == n) return true;
  error_ = errno ? errno : EIO;
  return false;
}

void TraceSink::goDirect() {
  std::lock_guard<std::mutex> lk(m_);
  if (direct_) return;
  direct_ = true;
  turn_.notify_all();
  if (!spool_) return;
  if (fflush(spool_) != 0 && !error_) error_ = errno ? errno : EIO;
  int from = fileno(spool_);
  off_t at = 0;
  uint8_t head[5];
  while (!error_ && pread(from, head, 5, at) == 5) {
    uint32_t len;
    memcpy(&len, head + 1, 4);
    if (!replay(static_cast<Stream>(head[0]), from, at + 5, len)) break;
    at += 5 + len;
  }
  fclose(spool_);
  spool_ = nullptr;
}

// Copies len spooled bytes at `at` to their stream. A trace's listing is as
// large as the trace and its replay holds up every later trace, so the copy
// stays in the kernel when the stream's descriptor allows it.
bool TraceSink::replay(Stream which, int from, off_t at, size_t len) {
  FILE* to = real_[which];
  int fd = fileno(to);
  if (fd >= 0 && fflush(to) == 0) {
    while (len > 0) {
      ssize_t n = sendfile(fd, from, &at, len);
      if (n > 0) {
        len -= static_cast<size_t>(n);
      } else if (n < 0 && errno == EINTR) {
        continue;
      } else if (n < 0 && (errno == EINVAL || errno == ENOSYS)) {
        break;  // an appending or unusual descriptor: through memory below
      } else {
        error_ = n < 0 ? errno : EIO;
        errorInListing_ = which == kListing;
        return false;
      }
    }
  }
  char chunk[1 << 16];
  while (len > 0) {
    size_t k = std::min(len, sizeof chunk);
    if (pread(from, chunk, k, at) != static_cast<ssize_t>(k)) return false;
    if (!emit(which, chunk, k)) return false;
    at += static_cast<off_t>(k), len -= k;
  }
  return true;
}

}  // namespace wp
