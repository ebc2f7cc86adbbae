// The trace file's header and records, and the current packet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "driver/tracefile.h"

namespace wp {

struct Run;

struct Reader {
  TraceFile file;
  char msgdir[2] = {0, 0};      // code of the last record ("CS", "SC", ...)
  char dirLetter = 'c';         // 'c' client to server, 's' otherwise
  std::vector<uint8_t> packet;  // packet_alloc_len is its size
  int32_t packetlen = 0;
  int32_t g_ipkt = 0;  // records read so far, markers included
  double time_fl = 0, prev_time_fl = 0, very_first_time_fl = 0;
  int32_t not_first_time = 0;
  // Bytes handed to the decoders; a packet handed again after a fork marker
  // counts again. Watchdogs bound the listing's size by it.
  int64_t served = 0;

  // Local time text of the last whole second formatted, reused while the
  // seconds do not change.
  int64_t cachedSecond = -1;
  std::string cachedDate;
};

// The 8 time-stamp bytes of a record, by the "-platform" encoding (0 native,
// 1 IEEEI, 2 IEEEM, 3 DECALPHA).
double decodeTime(const uint8_t* stamp, int format);

// Reads the 4-byte magic, the version and the optional internal-version
// marker, printing their lines. False when the run must go straight to its end.
bool readHeader(Run& run);

// Reads records until a packet or a fork marker is current; `carry` holds
// `carrylen` unconsumed bytes of the previous packet that go in front of the
// new data. Returns 0, or -1 at end of file or on a read error.
int getpacket(Run& run, const uint8_t* carry, int32_t carrylen);

}  // namespace wp
