// The packet loop of a filtered run: each record is looked at before it is
// read, and a packet outside the window or of another thread is decoded with
// its listing dropped and its counts taken back, so that the session state
// (capabilities, statements, threads) is right for the packets that count.
#pragma once

#include <cstdint>
#include <string>

#include "driver/threads.h"
#include "stats/summary.h"

namespace wp {

struct Run;

struct FilterState {
  bool in = true;        // the packet being decoded is listed and counted
  bool counting = true;  // the messages awaiting their time are counted
  // Address text of the "MT" record that last named each thread entry.
  std::string address[Threads::kSize];
  std::string named;  // the one read ahead for the coming packet
  bool hasNamed = false;
  double firstIn = 0, lastIn = 0;  // times of the first and last packet counted
  bool anyIn = false;
  // Counts before the packet, restored when it does not count.
  SummaryCounters sum;
  int32_t commands = 0;
  double clientTime = 0, serverTime = 0;
};

// getpacket() for a filtered run; printpacket() and then packetDone() follow.
int filteredGetpacket(Run& run);
void filteredPacketDone(Run& run);
// At the end: the elapsed time covers the packets counted; statements that
// no counted packet charged are left out.
void filteredEnd(Run& run);

}  // namespace wp
