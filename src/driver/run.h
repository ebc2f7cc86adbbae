// One run of the tool: every piece of state, grouped by owner. Tests build a
// fresh Run for each case.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "analysis/collector.h"
#include "driver/options.h"
#include "driver/output.h"
#include "driver/reader.h"
#include "driver/threads.h"
#include "messages/capabilities.h"
#include "messages/database.h"
#include "messages/lobstate.h"
#include "messages/state.h"
#include "messages/xastate.h"
#include "render/emit.h"
#include "render/json_render.h"
#include "stats/stmtstats.h"
#include "stats/summary.h"
#include "stats/timing.h"
#include "values/codeset.h"

namespace wp {

// Thrown to end the run with a status (the design's exit()); the top level
// flushes the listing and returns the status.
struct Exit {
  int status;
};

struct Run {
  Options opt;
  Output out;
  Emit em{out};                      // what decoders emit through
  std::unique_ptr<JsonRender> json;  // the -json rendering, when asked for
  Reader rd;
  Threads thr;
  Capabilities caps;
  DecoderState dec;
  DatabaseState db;
  XaState xa;
  LobState lob;
  Timing timing;
  SummaryCounters sum;
  CommandList cmds;
  StmtStats stmts;
  Codeset cs;
  std::string textbuf;  // printstring's text, grown as needed
  // Round trips for -report and -db; null without them, so the hooks cost a
  // test of a pointer.
  std::unique_ptr<analysis::Collector> an;

  [[noreturn]] void exit(int status) { throw Exit{status}; }
  // A debug line on standard error, only with WIREPRINTDBG=1.
  void dbg(const char* fmt, ...) WP_PRINTF(2, 3);
};

// The whole program: start-up, header, packets, end of run. Returns the exit
// status. `env` looks variables up (getenv in the real program).
using EnvLookup = const char* (*)(const char*);
int runMain(Run& run, int argc, char** argv, EnvLookup env);

}  // namespace wp
