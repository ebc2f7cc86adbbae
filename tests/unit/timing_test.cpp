// The messages of a packet and the time charged to them.
#include "stats/timing.h"

#include <gtest/gtest.h>

#include "driver/cursor.h"
#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

using test::Harness;

constexpr int kBegin = 35, kCmmtWork = 19, kRelease = 11, kExProc = 59, kClose = 10;

TEST(StorePrev, TypesAbove140AsUnsignedAreIgnored) {
  Harness h("");
  wp::Run& run = h.run();
  struct Case {
    int32_t type;
    bool kept;
  } cases[] = {{0, true}, {139, true}, {140, true}, {141, false}, {-1, false}, {65535, false}};
  for (const Case& c : cases) {
    run.timing.g_inopr = 0;
    store_prev(run, c.type, 0, 0);
    EXPECT_EQ(run.timing.g_inopr, c.kept ? 1 : 0) << "type " << c.type;
  }
}

TEST(StorePrev, SixtyFourDistinctTypesAtMostFurtherOnesDropped) {
  Harness h("");
  wp::Run& run = h.run();
  for (int type = 0; type <= 140; ++type) store_prev(run, type, 0, 0);
  EXPECT_EQ(run.timing.g_inopr, 64);
  EXPECT_EQ(run.timing.g_prevs[63].type, 63);
  // Types already in the list still count.
  store_prev(run, 5, 0, 0);
  EXPECT_EQ(run.timing.g_prevs[5].count, 2);
  EXPECT_EQ(run.timing.g_inopr, 64);
}

TEST(ChargePrevious, StatementMessagesGoToTheirStatementWithTheShareOrZero) {
  Harness h("");
  wp::Run& run = h.run();
  run.opt.stmtstats = 1;
  new_stmt(run, 2, "select 1", 44, 8);
  store_prev(run, kExProc, 2, 44);   // timed statement message
  store_prev(run, kClose, 2, 44);    // untimed statement message
  store_prev(run, kBegin, 2, 44);    // timed, not a statement message
  store_prev(run, kRelease, 0, 44);  // another thread: no such statement
  chargePrevious(run, 1.0);
  ASSERT_EQ(run.stmts.list.size(), 1u);
  const StmtStat& s = run.stmts.list[0];
  EXPECT_EQ(s.messages, 2);
  EXPECT_DOUBLE_EQ(s.total, 0.5);
  ASSERT_EQ(s.msgs.size(), 2u);
  EXPECT_EQ(s.msgs[0].type, kExProc);
  EXPECT_DOUBLE_EQ(s.msgs[0].total, 0.5);
  EXPECT_EQ(s.msgs[1].type, kClose);
  EXPECT_DOUBLE_EQ(s.msgs[1].total, 0.0);

  // Without "-stmt_stat" nothing reaches the statement.
  run.opt.stmtstats = 0;
  store_prev(run, kExProc, 2, 44);
  chargePrevious(run, 1.0);
  EXPECT_EQ(run.stmts.list[0].messages, 2);
}

// A field that runs into the next packet pulls it in mid-message: its arrival
// charges the messages recorded so far, and the join shows on stderr.
TEST(ChargePrevious, AFieldStraddlingPacketsChargesWhatWasRecordedBeforeIt) {
  Harness h(
      "CS 1000.0 { msg SQ_BEGIN hex 01 }\n"
      "SC 1000.5 { hex 02 msg SQ_CMMTWORK }\n");
  wp::Run& run = h.run();
  run.opt.timestamp = 1;
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  run.timing.stats_ptr = &run.timing.cs_stats;
  run.dec.prev_msgtype = kBegin;
  Cursor c(run);
  ASSERT_EQ(c.getShort(), kBegin);
  store_prev(run, kBegin, 0, 0);
  run.opt.g_idbg = 1;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(c.i16(), 0x0102);
  std::string err = ::testing::internal::GetCapturedStderr();
  run.opt.g_idbg = 0;
  EXPECT_EQ(err.find("SYNC 1\n"), 0u) << err;
  EXPECT_NE(err.find("PrevCmd[0]: SQ_BEGIN cnt=1 stats_ptr="), std::string::npos) << err;
  EXPECT_EQ(run.timing.cs_stats.count[kBegin], 1);
  EXPECT_DOUBLE_EQ(run.timing.cs_stats.total[kBegin], 0.5);
  EXPECT_EQ(run.timing.g_inopr, 0);
  EXPECT_EQ(c.getShort(), kCmmtWork);
}

}  // namespace
}  // namespace wp
