// Command-line options and the settings derived from the environment.
#pragma once

#include <cstdint>
#include <string>

namespace wp {

struct Options {
  int32_t dump_tuple = 0;       // -tuple: hex dump tuple data of PUT and FETCH
  int32_t blob_hex = 0;         // -blob: hex dump blob data
  int32_t min = 0;              // -min: only the minimum per message
  int32_t udt_hex = 0;          // -udt: hex dump fixed/variable binary values
  int32_t cmd_time = 0;         // -cmd_time: time since the previous packet
  int32_t needcsc = 1;          // -nocsc clears: convert texts to the output code set
  int32_t summary = 0;          // -summary
  int32_t stmtstats = 0;        // -stmt_stat
  int32_t ordercnt = 0;         // -order_cnt
  int32_t stmtthread = 0;       // -per_thread
  int32_t stmtgroup = 1;        // -nogroup clears
  int32_t timestamp = 1;        // -notimestamp clears
  int32_t timestampformat = 0;  // -platform: 0 native, 1 IEEEI, 2 IEEEM, 3 DECALPHA
  int32_t isprint_flag = 0;     // -isprint
  int32_t json = 0;             // -json: JSON Lines instead of the listing
  int32_t g_idbg = 0;           // WIREPRINTDBG=1
  std::string progname;
  std::string inpfile;
  std::string report;  // -report FILE: HTML report of round trips
  std::string db;      // -db FILE: SQLite database of the trace
};

class Output;

// Parses argv as the run driver does. Returns -1 to go on with the run, or the
// exit status when the arguments end it (usage error 1, -V 0, -o failure 1).
int parseArgs(int argc, char** argv, Options& opt, Output& out);

// The usage text, written to standard error.
void printUsage(const Options& opt, Output& out);

}  // namespace wp
