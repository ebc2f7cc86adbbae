// The counts of several traces' runs added up, trace by trace in argument
// order, so that the summary and the statement statistics cover them all.
#pragma once

#include <cstdint>

namespace wp {

struct Run;

// Adds the counts of `from`, the run of trace number `trace`, to `into`:
// counters and times are summed (elapsed times too: each trace's span is
// its own), message tables summed with the smaller minimum and the larger
// maximum, the first commands and the statements appended after those
// already there, each marked with its trace. `from` loses its statements.
void mergeRun(Run& into, Run& from, int32_t trace);

// Readies the run of trace number `trace` for mergeRun, in the job that
// decoded it: its statements are marked with the trace and, when they are to
// be grouped by text, grouped already (grouping the traces' groups again in
// argument order gives the groups of all statements in order of first
// appearance), and their index is freed.
void prepareMerge(Run& run, int32_t trace);

}  // namespace wp
