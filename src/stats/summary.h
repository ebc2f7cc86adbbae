// Run-wide counters of features and volumes, printed by "-summary".
#pragma once

#include <cstdint>

namespace wp {

struct SummaryCounters {
  int32_t opt_stats_ptr = 0;  // FETARRSIZE messages (fetch array feature uses)
  double fetarr_sum = 0;      // sum of the announced fetch array sizes
  int32_t open_saved = 0;     // NFETCH in the same packet as an OPEN (deferred open)
  int32_t reopt = 0;          // REOPTOPEN messages
  int32_t prepares = 0;
  int32_t executes = 0;
  int32_t selects = 0;  // singleton selects (EXSELECT)
  int32_t opens = 0;
  int32_t closes = 0;
  int32_t put_count = 0;  // non-blob puts
  double put_bytes = 0;
  int32_t fetch_count = 0;  // non-blob fetches (tuples)
  double fetch_bytes = 0;
  int32_t blob_put_count = 0;
  double blob_put_bytes = 0;
  int32_t blob_fetch_count = 0;
  double blob_fetch_bytes = 0;
  int32_t cs_packets = 0;  // records whose code begins with 'C'
  int32_t sc_packets = 0;  // all other records
};

// The first statement texts of the run, listed by the summary.
struct CommandList {
  static constexpr int kMax = 99;
  static constexpr int kTextSize = 60;
  struct Entry {
    int32_t prepared;
    char text[kTextSize];  // a text of 60 bytes or more keeps its first 59
    int32_t length;        // the full length
  };
  int32_t count = 0;  // cmd_ptr
  Entry entries[kMax];
};

struct Run;
// COMMAND (prepared 0), PREPARE and DPREPARE (prepared 1) enter their raw text;
// statements after the 99th are not recorded.
void recordCommand(Run& run, const char* text, int32_t len, int prepared);

}  // namespace wp
