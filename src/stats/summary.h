// Run-wide counters of features and volumes, and the command list, printed by
// "-summary".
#pragma once

#include <cstdint>

namespace wp {

struct Run;

// Plain counters that the message decoders increment directly. Who updates
// what:
//   opt_stats_ptr, fetarr_sum   SQ_FETARRSIZE: +1, + the announced array size
//   open_saved                  SQ_NFETCH: +1 when an SQ_OPEN came earlier in
//                               the same packet (Cursor::openSeen)
//   reopt                       SQ_REOPTOPEN
//   prepares                    SQ_PREPARE, SQ_SGKPREPARE
//   executes                    SQ_EXECUTE
//   selects                     SQ_EXSELECT
//   opens                       SQ_OPEN (which also sets Cursor::openSeen)
//   closes                      SQ_CLOSE
//   put_count, put_bytes        SQ_PUT, SQ_VPUT: +1, + rows times the row size
//                               rounded up to even
//   fetch_count, fetch_bytes    SQ_TUPLE, SQ_SGKTUPLE: +1, + the tuple length
//   blob_put_*, blob_fetch_*    SQ_BLOB with a size other than 0: the client's
//                               count as puts, the server's as fetches
//   cs_packets, sc_packets      the packet reader, per record
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
    int32_t trace;         // which of several traces
  };
  int32_t count = 0;  // cmd_ptr
  Entry entries[kMax];
};

// COMMAND (prepared 0), PREPARE and DPREPARE (prepared 1) enter their raw text
// (not the converted one: the summary converts when it prints); statements
// after the 99th are not recorded.
void recordCommand(Run& run, const char* text, int32_t len, int prepared);

// "-summary": the end-of-run summary with both message tables.
void printSummary(Run& run);

}  // namespace wp
