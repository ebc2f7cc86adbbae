// Statement statistics: messages and time charged to each SQL statement.
#pragma once

#include <cstdint>

namespace wp {

struct Run;

struct StmtStats {};

// Hooks of the statement decoders; they do nothing without "-stmt_stat" except
// where said.
// A statement text arrived (COMMAND, PREPARE, DPREPARE, SGKPREPARE): a
// provisional id (packet number + 1000000) becomes the thread's current id and
// the statement is created from the text (converted text when conversion
// yielded one).
void statementText(Run& run, const char* text, int32_t len);
// The server named the current statement (SQ_ID; SQ_DESCRIBE with retire set
// also closes an older statement holding the id). A provisional id is handed
// over to it; in every case, also without statistics, the id becomes the
// thread's current statement id.
void serverStatementId(Run& run, int32_t id, bool retire);

// "-stmt_stat": grouping, ordering and the report at the end of the run.
void printStatementReport(Run& run);

}  // namespace wp
