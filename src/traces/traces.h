// Several traces in one run: each decoded by a run of its own (in parallel
// with -j), the listings in argument order, each under a line naming its
// trace, then the summary and statistics of all of them together.
#pragma once

#include "driver/run.h"

namespace wp {

// `run` holds the parsed options and the real streams. Returns the exit
// status: the highest of the traces'.
int runTraces(Run& run, EnvLookup env);

}  // namespace wp
