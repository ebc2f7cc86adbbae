// Statement statistics: messages and time charged to each SQL statement.
#pragma once

#include <cstdint>

namespace wp {

struct Run;

struct StmtStats {};

// "-stmt_stat": grouping, ordering and the report at the end of the run.
void printStatementReport(Run& run);

}  // namespace wp
