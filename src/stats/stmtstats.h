// Statement statistics: messages and time charged to each SQL statement.
//
// Statements are kept in creation order. Lookups by (thread, id) and the
// grouping by text go through hash tables so that traces with hundreds of
// thousands of statements stay fast, while every result is the one a walk of
// the list in order would give: the first statement in list order with the
// key, groups in order of first appearance, a stable descending order.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace wp {

struct Run;

// One message type charged to a statement.
struct StmtMsgStat {
  int32_t type = 0;
  int32_t count = 0;
  double total = 0;
  double min = 0;
  double max = 0;
  int32_t spare = 0;  // always 0; summed when grouping
};

struct StmtStat {
  std::string text;   // normalised SQL text
  std::string spare;  // spare name: always empty, copied along when grouping
  int32_t id = 0;     // provisional (1000000 + packet), then the server's; -2 closed
  int32_t thread = 0;
  int32_t trace = 0;     // which of several traces; -1 a group from several
  int32_t messages = 0;  // charges received
  double total = 0;
  std::vector<StmtMsgStat> msgs;  // in order of first appearance
};

struct StmtStats {
  static constexpr int32_t kClosed = -2;
  static constexpr int32_t kProvisional = 1000000;

  std::vector<StmtStat> list;  // stmt_first .. stmt_last
  // (thread, id) -> positions in `list` holding that key, ascending.
  std::unordered_map<uint64_t, std::set<uint32_t>> byKey;
};

// The SQL normalisation of new_stmt, on its own: literals and leading digits
// masked, whitespace runs collapsed, lower case, keywords upper case.
std::string normaliseSql(const char* text, int32_t len);

void new_stmt(Run& run, int32_t thread, const char* text, int32_t id, int32_t len);
// The first statement in list order with this thread and id, or null.
StmtStat* find_stmt(Run& run, int32_t thread, int32_t id);
void set_stmt_id(Run& run, int32_t thread, int32_t newid, int32_t oldid);
void close_stmt(Run& run, int32_t thread, int32_t id);
// Charges `count` messages of `type` taking `time` seconds to a statement.
// `unused` is always 0.
void stmt_stat(Run& run, int32_t thread, int32_t id, int32_t type, int32_t unused, int32_t count,
               double time);
void group_stmts(Run& run, int32_t per_thread);
// The grouping alone, leaving the (thread, id) index as it was.
void groupStatements(Run& run, int32_t per_thread);
void order_stmts(Run& run, int32_t by_count);
void print_stmt_stat(Run& run, int32_t per_thread);
void dbg_stmt(Run& run);

// Hooks of the statement decoders; they do nothing without "-stmt_stat" except
// where said.
// A statement text arrived (COMMAND, PREPARE, DPREPARE, SGKPREPARE): a
// provisional id (packet number + 1000000) becomes the thread's current id and
// the statement is created from the text: the decoder passes the converted
// text when conversion yielded one, else the raw text; SGKPREPARE, which has
// no text, passes an empty one.
void statementText(Run& run, const char* text, int32_t len);
// The server named the current statement (SQ_ID; SQ_DESCRIBE with retire set
// also closes an older statement holding the id). A provisional id is handed
// over to it; in every case, also without statistics, the id becomes the
// thread's current statement id.
void serverStatementId(Run& run, int32_t id, bool retire);

// "-stmt_stat": grouping, ordering and the report at the end of the run.
void printStatementReport(Run& run);

}  // namespace wp
