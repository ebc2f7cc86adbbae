// Time charged to messages: per-direction message tables, the list of the
// messages of the packet being decoded, client and server+network time.
#pragma once

#include <algorithm>
#include <cstdint>

#include "driver/msgtable.h"

namespace wp {

struct Run;

struct MsgStats {
  // Indexed by message type; one slot beyond 139 takes the type 140 that the
  // recording accepts but no table prints.
  static constexpr int kSlots = kNumTypes + 1;
  int32_t count[kSlots];
  double total[kSlots];
  double min[kSlots];
  double max[kSlots];
  void reset();
};

// A message type of the packet being decoded, with how often it occurred and
// the thread and statement it was first seen under.
struct PrevEntry {
  int32_t type, count, thread, stmtid;
};

struct Timing {
  // At most 64 distinct types per packet; further ones are dropped.
  static constexpr int kMaxPrevs = 64;
  MsgStats cs_stats, sc_stats;
  MsgStats* stats_ptr = &cs_stats;
  PrevEntry g_prevs[kMaxPrevs];
  int32_t g_inopr = 0;
  double c_to_s_fl = 0, s_to_c_fl = 0, client_time_fl = 0, server_time_fl = 0;
};

// Message counts stop at the largest int32 instead of wrapping: a PUT may
// claim two billion rows, and a long trace may repeat one.
inline int32_t addCount(int32_t a, int64_t b) {
  return static_cast<int32_t>(std::clamp<int64_t>(a + b, INT32_MIN, INT32_MAX));
}

// Records one decoded message of the current packet (`times` of them at
// once). The dispatcher calls it after every message; with "-stmt_stat" the
// PUT and VPUT decoders add one more for each row after the first, so that
// every row counts.
void store_prev(Run& run, int32_t type, int32_t thread, int32_t stmtid, int32_t times = 1);
// At a data-carrying packet after the first: shares the time since the
// previous packet among the messages recorded for it.
void chargePrevious(Run& run, double elapsed);
// At every data-carrying packet: client and server+network time.
void directionTime(Run& run, bool client, bool first);
// One direction's message table: `which` 99 ('c') the client's, any other
// the server's; the table becomes stats_ptr.
void print_stats_ptr(Run& run, int which);

}  // namespace wp
