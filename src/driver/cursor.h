// The read cursor every decoder walks a packet with: a position in the
// current packet and a signed count of the bytes left after it. Fields may
// straddle packets; the cursor pulls the continuation in through the reader.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wp {

struct Run;

class Cursor {
 public:
  // A cursor over the current packet from byte `start` on.
  Cursor(Run& run, int32_t start = 0);

  Run& run;
  int32_t pos;   // offset in the packet buffer
  int32_t left;  // bytes left after pos; negative once a decoder read too far
  // State of one decode call (a nested decode has its own).
  bool fileRead = false;  // a file-read transfer is in progress
  bool openSeen = false;  // an OPEN was decoded earlier in this call

  const uint8_t* ptr() const;

  // Refill step before an n-byte field: while fewer than n bytes are left,
  // the unread tail is carried to the front of the next packet.
  void need(int32_t n);
  uint8_t u8() { return need(1), take1(); }
  int16_t i16() { return static_cast<int16_t>(u16()); }
  uint16_t u16();
  int32_t i32();

  // getBytes: n bytes to dst (or skipped when dst is null); a packet that
  // runs out is followed into the next one with nothing carried.
  void getBytes(int32_t n, uint8_t* dst);
  int16_t getShort();
  void skip(int32_t n) { getBytes(n, nullptr); }
  // Skips n bytes into further packets as needed; returns how many lay in the
  // last packet (the pad byte of a split field goes by that part alone).
  int32_t skipField(int32_t n);
  // The pad byte after n bytes of odd length: the next byte of the trace,
  // whichever packet holds it. A length of 0 or less has none.
  void padAfter(int32_t n) {
    if (n > 0 && (n & 1)) skip(1);
  }
  // skipField, then the pad byte when that last part is odd.
  void skipPadded(int32_t n) { padAfter(skipField(n)); }

  // Gathers n bytes into dst from the packets that hold them, passing over
  // empty ones, and returns how many lay in the last packet. `starts`, when
  // given, receives the offset in dst at which each packet's part begins.
  int32_t gather(int32_t n, std::string& dst, std::vector<int32_t>* starts = nullptr);
  // Puts n bytes back in front of the position, the rest of the packet after
  // them, as a refill that carried them would have.
  void unread(const uint8_t* bytes, int32_t n);

  // The next packet with nothing carried (the bytes left are dropped).
  void nextPacket();
  // Moves on without reading (a pad byte the design skips blindly).
  void advance(int32_t n) {
    pos += n;
    left -= n;
  }
  // Ends the message: nothing is left of the packet.
  void drop() { left = 0; }

 private:
  uint8_t take1() {
    --left;
    return ptrAt(pos++);
  }
  uint8_t ptrAt(int32_t at) const;
  void fetch(const uint8_t* carry, int32_t carrylen);
};

}  // namespace wp
