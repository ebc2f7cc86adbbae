#include "traces/sink.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "driver/output.h"

namespace wp {

TraceSink::TraceSink(FILE* listing, FILE* out, FILE* err) : real_{listing, out, err} {
  cookie_io_functions_t io = {nullptr, &TraceSink::onWrite, nullptr, nullptr};
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
  c->sink->put(c->which, buf, n);
  return static_cast<ssize_t>(n);
}

void TraceSink::emit(Stream which, const char* buf, size_t n) {
  fwrite(buf, 1, n, real_[which]);
  fflush(real_[which]);
}

void TraceSink::put(Stream which, const char* buf, size_t n) {
  std::unique_lock<std::mutex> lk(m_);
  if (!direct_ && !spool_) {
    spool_ = tmpfile();
    // Nowhere to spool: the run waits until the traces before it are out.
    if (!spool_) turn_.wait(lk, [&] { return direct_; });
  }
  if (direct_) {
    emit(which, buf, n);
    return;
  }
  uint8_t head[5] = {static_cast<uint8_t>(which)};
  auto len = static_cast<uint32_t>(n);
  memcpy(head + 1, &len, 4);
  fwrite(head, 1, 5, spool_);
  fwrite(buf, 1, n, spool_);
}

void TraceSink::goDirect() {
  std::lock_guard<std::mutex> lk(m_);
  if (direct_) return;
  direct_ = true;
  turn_.notify_all();
  if (!spool_) return;
  rewind(spool_);
  std::vector<char> chunk;
  uint8_t head[5];
  while (fread(head, 1, 5, spool_) == 5) {
    uint32_t len;
    memcpy(&len, head + 1, 4);
    chunk.resize(len);
    if (len && fread(chunk.data(), 1, len, spool_) != len) break;
    emit(static_cast<Stream>(head[0]), chunk.data(), len);
  }
  fclose(spool_);
  spool_ = nullptr;
}

}  // namespace wp
