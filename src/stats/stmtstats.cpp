#include "stats/stmtstats.h"

#include "driver/run.h"

namespace wp {

void statementText(Run& run, const char*, int32_t) {
  if (!run.opt.stmtstats) return;
  run.thr.cur->stmtid = run.rd.g_ipkt + 1000000;
}

void serverStatementId(Run& run, int32_t id, bool) {
  run.thr.cur->stmtid = id;
}

void printStatementReport(Run&) {}

}  // namespace wp
