// -report and -db: what the run driver calls to set them up and write them.
#pragma once

#include <cstdint>
#include <string>

namespace wp {
struct Run;
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
// collector of its own whose rows go to a database of its own, a temporary
// file beside the final one; once the traces before it are in, the main run
// takes its figures and copies its rows, so that nothing waits in memory and
// the result does not depend on which job finished first.
class TraceOutputs {
 public:
  // In the main thread, before the jobs start.
  TraceOutputs(Run& main, Run& trace, int32_t index);
  ~TraceOutputs();  // removes the temporary file
  TraceOutputs(const TraceOutputs&) = delete;
  TraceOutputs& operator=(const TraceOutputs&) = delete;

  // In the job: before the trace is opened, and after its last packet.
  void begin(Run& trace);
  void end(Run& trace);
  // In the main thread, in argument order.
  void absorb(Run& main, Run& trace);

 private:
  int32_t index_;
  std::string part_;   // the trace's own database; empty without -db
  std::string error_;  // why it could not be written
};

}  // namespace wp::analysis
