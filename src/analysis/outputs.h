// -report and -db: what the run driver calls to set them up and write them.
#pragma once

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

}  // namespace wp::analysis
