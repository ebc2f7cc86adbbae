// Protocol capability vectors: 17-byte bit strings negotiated by the session
// messages. Bit n lies in byte n / 8 under mask 1 << (n % 8).
#pragma once

#include <cstdint>
#include <cstring>

namespace wp {

struct CapVector {
  static constexpr int kBytes = 17;
  uint8_t b[kBytes] = {};

  bool has(int bit) const { return bit >= 0 && bit < kBytes * 8 && (b[bit / 8] >> (bit % 8)) & 1; }
  bool has(int byte, uint8_t mask) const { return byte >= 0 && byte < kBytes && (b[byte] & mask); }
  void clear() { memset(b, 0, sizeof b); }
  // The first 8 bytes as one little-endian 64-bit mask.
  uint64_t low64() const {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = (v << 8) | b[i];
    return v;
  }
  void orLow64(uint64_t mask) {
    for (int i = 0; i < 8; ++i) b[i] |= static_cast<uint8_t>(mask >> (8 * i));
  }
  // Keeps only the bits `other` has too, in the 16 bytes a stream can fill;
  // the last byte is left alone.
  void andStream(const CapVector& other) {
    for (int i = 0; i < kStream; ++i) b[i] &= other.b[i];
  }
  // Longest stream that fits with its closing 0 byte.
  static constexpr int kStream = kBytes - 1;
};

struct Capabilities {
  CapVector protocolver;         // the set in force
  CapVector client_protocolver;  // the client's offer of the first exchange
  CapVector co_sprotocolver;     // first (coordinator) stream of the latest exchange
  CapVector sub_sprotocolver;    // answering stream, narrowed to the common bits
  int32_t internalver = 0;
  int32_t previnternalver = -1;
  int32_t transFloatType = 0;  // floats travel big-endian (internal version > 304)
  int32_t numof_sqprotocols = 0;

  // A server announced internal version v: the vectors start over from what
  // that version implies, unless nothing changed or (305) a negotiated set is
  // already in force.
  void setInternalVersion(int32_t v);
};

}  // namespace wp
