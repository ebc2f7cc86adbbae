// -report and -db: what the run driver calls to set them up and write them.
#pragma once

#include <cstdint>
#include <string>

namespace wp {
struct Run;
}
namespace wp::store {
class Store;
}

namespace wp::analysis {

// After the command line: creates the collector when -report or -db asked for
// one, and opens the database. Returns -1 to go on, or the exit status.
int startOutputs(Run& run, int argc, char** argv);

// At the end of the run, also one cut short by a damaged trace: writes the
// report and completes the database. False when a write failed (said on
// standard error).
bool writeOutputs(Run& run);

// The report and database side of one trace of several. Its run has a
// collector of its own. When the traces before it are all in as it starts,
// its rows go straight into the database; else to a database of its own, a
// temporary file beside the final one, whose rows are copied in once the
// traces before it are. Nothing waits in memory, and the result does not
// depend on which job finished first. The main run takes its figures in
// argument order.
class TraceOutputs {
 public:
  // In the main thread, before the jobs start.
  TraceOutputs(Run& main, Run& trace, int32_t index);
  ~TraceOutputs();  // removes the temporary file
  TraceOutputs(const TraceOutputs&) = delete;
  TraceOutputs& operator=(const TraceOutputs&) = delete;

  // In the job: before the trace is opened (`direct`: the traces before it
  // are all in, and the database is this trace's until it ends), and after
  // its last packet.
  void begin(Run& trace, bool direct);
  void end(Run& trace);
  // In the main thread, in argument order.
  void absorb(Run& main, Run& trace);

 private:
  int32_t index_;
  store::Store* all_;  // the database of all traces; null without -db
  bool direct_ = false;
  std::string part_;   // the trace's own database, if any
  std::string error_;  // why it could not be written
};

}  // namespace wp::analysis
