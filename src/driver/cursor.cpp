#include "driver/cursor.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "driver/run.h"
#include "messages/dispatch.h"

namespace wp {

Cursor::Cursor(Run& r, int32_t start) : run(r), pos(start), left(r.rd.packetlen - start) {}

const uint8_t* Cursor::ptr() const {
  static const uint8_t kNothing = 0;
  auto& p = run.rd.packet;
  if (pos < 0 || static_cast<size_t>(pos) >= p.size()) return &kNothing;
  return p.data() + pos;
}

uint8_t Cursor::ptrAt(int32_t at) const {
  auto& p = run.rd.packet;
  if (at < 0 || static_cast<size_t>(at) >= p.size()) return 0;
  return p[at];
}

// Gets the next packet with `carry` in front. While a file-read transfer is
// in progress, server packets that arrive in between are decoded on their own
// first, and the data goes on in the packet after them.
void Cursor::fetch(const uint8_t* carry, int32_t carrylen) {
  run.dbg("SYNC %d\n", left);
  uint8_t tail[16];
  std::vector<uint8_t> longTail;
  if (carrylen > static_cast<int32_t>(sizeof tail)) {
    longTail.assign(carry, carry + carrylen);
    carry = longTail.data();
  } else if (carrylen > 0) {
    memcpy(tail, carry, carrylen);
    carry = tail;
  }
  for (;;) {
    if (getpacket(run, carry, carrylen) != 0) run.exit(1);
    const char* d = run.rd.msgdir;
    const char* f = run.dec.fdir;
    bool interleaved = fileRead && (d[0] != f[0] || d[1] != f[1]) && d[0] == 'S' && d[1] == 'C';
    if (!interleaved) break;
    // The carried bytes are ours, not the server's. A record of no data
    // holds none of them (its length is its own), so it decodes from 0.
    printpacketFrom(run, run.rd.packetlen > carrylen ? carrylen : 0);
  }
  pos = 0;
  left = run.rd.packetlen;
}

void Cursor::need(int32_t n) {
  while (left < n) {
    int32_t keep = std::max(left, 0);
    fetch(keep ? ptr() : nullptr, keep);
    // A packet without data of its own leaves the carried bytes at the front
    // of the buffer: they wait there for the next packet that has some.
    while (keep > 0 && run.rd.packetlen <= 0) fetch(run.rd.packet.data(), keep);
  }
}

uint16_t Cursor::u16() {
  need(2);
  uint16_t v = static_cast<uint16_t>(ptrAt(pos) << 8 | ptrAt(pos + 1));
  advance(2);
  return v;
}

int32_t Cursor::i32() {
  need(4);
  uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v = v << 8 | ptrAt(pos + i);
  advance(4);
  return static_cast<int32_t>(v);
}

void Cursor::nextPacket() {
  fetch(nullptr, 0);
}

void Cursor::getBytes(int32_t n, uint8_t* dst) {
  while (n > 0) {
    if (left <= 0) nextPacket();
    if (left <= 0) continue;
    int32_t k = std::min(n, left);
    if (dst) {
      auto& p = run.rd.packet;
      int32_t avail = static_cast<int32_t>(p.size()) - pos;
      int32_t real = std::clamp(avail, 0, k);
      if (real > 0) memcpy(dst, p.data() + pos, real);
      if (real < k) memset(dst + real, 0, k - real);
      dst += k;
    }
    advance(k);
    n -= k;
  }
}

int32_t Cursor::gather(int32_t n, std::string& dst, std::vector<int32_t>* starts) {
  dst.clear();
  int32_t lastPart = 0;
  while (n > 0) {
    if (left <= 0) {
      nextPacket();
      lastPart = 0;
      continue;
    }
    if (starts && lastPart == 0) starts->push_back(static_cast<int32_t>(dst.size()));
    int32_t k = std::min(n, left);
    // Only the packet's own bytes; the text grows as they arrive, so a wild
    // length allocates no more than the trace holds.
    int32_t end = std::min(static_cast<int32_t>(run.rd.packet.size()), run.rd.packetlen);
    int32_t real = pos < 0 ? 0 : std::clamp(end - pos, 0, k);
    dst.append(reinterpret_cast<const char*>(run.rd.packet.data()) + (real ? pos : 0),
               static_cast<size_t>(real));
    dst.append(static_cast<size_t>(k - real), '\0');
    advance(k);
    n -= k;
    lastPart += k;
  }
  return lastPart;
}

void Cursor::unread(const uint8_t* bytes, int32_t n) {
  if (n <= 0) return;
  auto& p = run.rd.packet;
  int32_t rest = std::max(left, 0);
  std::vector<uint8_t> buf(std::max(p.size(), static_cast<size_t>(n) + static_cast<size_t>(rest)));
  memcpy(buf.data(), bytes, static_cast<size_t>(n));
  if (rest > 0) memcpy(buf.data() + n, p.data() + pos, static_cast<size_t>(rest));
  p.swap(buf);
  run.rd.packetlen = n + rest;
  pos = 0;
  left = n + rest;
}

int32_t Cursor::skipField(int32_t n) {
  int32_t last = n;
  while (n > 0) {
    if (left <= 0) nextPacket();
    if (left <= 0) continue;
    int32_t k = std::min(n, left);
    advance(k);
    n -= k;
    last = k;
  }
  return last;
}

int16_t Cursor::getShort() {
  // Both bytes in this packet: the common case, read in place.
  const auto& p = run.rd.packet;
  if (left >= 2 && pos >= 0 && static_cast<size_t>(pos) + 2 <= p.size()) {
    auto v = static_cast<int16_t>(p[pos] << 8 | p[pos + 1]);
    advance(2);
    return v;
  }
  uint8_t b[2];
  getBytes(2, b);
  return static_cast<int16_t>(b[0] << 8 | b[1]);
}

}  // namespace wp
