// Building blocks of the generator: a reproducible random source, the
// capability vector as the session leaves it, and a buffer that lays out the
// messages one side sends in one turn.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace tracegen {

// splitmix64: the same numbers for the same seed on every platform.
class Rng {
 public:
  explicit Rng(uint64_t seed) : s_(seed) {}
  uint64_t next() {
    uint64_t z = (s_ += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
  }
  // 0 .. n-1
  uint32_t below(uint32_t n) { return static_cast<uint32_t>(((next() >> 32) * n) >> 32); }
  // lo .. hi
  int range(int lo, int hi) {
    return lo + static_cast<int>(below(static_cast<uint32_t>(hi - lo + 1)));
  }
  double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
  bool chance(double p) { return unit() < p; }

 private:
  uint64_t s_;
};

// 17-byte capability vector; bit n is byte n / 8, mask 1 << (n % 8).
struct Caps {
  static constexpr int kBytes = 17;
  uint8_t b[kBytes] = {};
  bool has(int bit) const { return (b[bit / 8] >> (bit % 8)) & 1; }
  void set(int bit) { b[bit / 8] |= static_cast<uint8_t>(1 << (bit % 8)); }
};

// Capability bits that change the layouts the generator writes.
enum CapBit : int {
  kLongPutRowSize = 3,
  kNewDescribe = 5,  // also: long tuple length, extended names before values
  kFetchArray14 = 14,
  kFetchArray15 = 15,
  kLongCounts = 21,  // fetch buffer size and PUT row count
  kBigserial = 49,
  kExtendedBind = 50,  // needed in both the client's and the narrowed vector
  kLongStringTable = 53,
  kNoBuiltinBlock = 54,
  kLongBuffer = 56,
  kLongText = 57,  // statement text length and error offset
};

// A message's place in a stream; [dataBegin, dataEnd) is row data that a
// packet may end inside of (dataEnd == 0: the message is never cut).
struct Piece {
  int type;
  size_t begin, end, dataBegin, dataEnd;
};

// The messages one side sends in one turn, in wire order.
class Stream {
 public:
  std::vector<uint8_t> b;
  std::vector<Piece> pieces;

  void clear() {
    b.clear();
    pieces.clear();
  }
  void u8(int v) { b.push_back(static_cast<uint8_t>(v)); }
  void s16(int v) {
    b.push_back(static_cast<uint8_t>(v >> 8));
    b.push_back(static_cast<uint8_t>(v));
  }
  void s32(int64_t v) {
    for (int sh = 24; sh >= 0; sh -= 8) b.push_back(static_cast<uint8_t>(v >> sh));
  }
  void s64(int64_t v) {
    for (int sh = 56; sh >= 0; sh -= 8) b.push_back(static_cast<uint8_t>(v >> sh));
  }
  void put32(size_t at, int64_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (24 - 8 * i));
  }
  void put16(size_t at, int v) {
    b[at] = static_cast<uint8_t>(v >> 8);
    b[at + 1] = static_cast<uint8_t>(v);
  }
  void bytes(const void* p, size_t n) {
    auto* c = static_cast<const uint8_t*>(p);
    b.insert(b.end(), c, c + n);
  }
  void text(std::string_view s) { bytes(s.data(), s.size()); }
  void fill(int c, size_t n) { b.insert(b.end(), n, static_cast<uint8_t>(c)); }
  // The pad byte that follows a text or binary field of odd length.
  void padOdd(size_t n) {
    if (n & 1) b.push_back(0);
  }
  // 2-byte length, the bytes, a pad byte when odd.
  void str16(std::string_view s) {
    s16(static_cast<int>(s.size()));
    text(s);
    padOdd(s.size());
  }

  // A message: its type, then its fields; end() pads it to an even length.
  void msg(int type) {
    type_ = type;
    start_ = b.size();
    dataBegin_ = dataEnd_ = 0;
    s16(type);
  }
  void dataStart() { dataBegin_ = b.size(); }
  void dataStop() { dataEnd_ = b.size(); }
  void end() {
    if ((b.size() - start_) & 1) b.push_back(0);
    pieces.push_back({type_, start_, b.size(), dataBegin_, dataEnd_});
  }
  // A message without a body.
  void bare(int type) {
    msg(type);
    end();
  }

 private:
  int type_ = 0;
  size_t start_ = 0, dataBegin_ = 0, dataEnd_ = 0;
};

}  // namespace tracegen
