// Statement statistics: the SQL normalisation, statement ids, charges, and
// the report with its grouping and ordering.
#include "stats/stmtstats.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

using test::Harness;

constexpr int kExProc = 59, kClose = 10, kRelease = 11, kHold = 43;

std::string norm(const std::string& s) {
  return normaliseSql(s.data(), static_cast<int32_t>(s.size()));
}

TEST(Normalise, LiteralsNumbersWhitespaceAndKeywords) {
  struct Case {
    const char* in;
    const char* out;
  } cases[] = {
      {"insert into t values(1,'a')", "INSERT INTO t VALUES(?,? )"},
      // Double quotes, and either kind closes the other.
      {"select * from t where a = \"x y\"", "SELECT * FROM t WHERE a = ? "},
      {"x='it\"s' and y=1", "x=? s? "},
      // A literal left open runs to the end of the text.
      {"select 'abc", "SELECT ? "},
      {"select \"abc", "SELECT ? "},
      // The character right after a closing quote is only tested as a digit:
      // a quote there does not open a literal.
      {"'a''b'", "? 'b?"},
      // After a closing quote the flag of the character before it holds.
      {"'a'5", "? ?"},
      {"x'a'5", "x? 5"},
      // Digits after letters, commas or other operators stay.
      {"select col1, a,1, x+1 from t2 where id=42", "SELECT col1, a,1, x+1 FROM t2 WHERE id=? "},
      {"values (3.14, 2)", "VALUES (? , ?)"},
      {"a<5 and b>6", "a<? AND b>?"},
      {"12 34", "? ? "},
      {"9.9.9x", "? x"},
      // A placeholder is a word: the digit after it stays.
      {"a=?1", "a=?1"},
      // Whitespace runs keep their first character, also at the end.
      {"select a from t order  by a", "SELECT a FROM t ORDER BY a"},
      {"select a from t order \tby a", "SELECT a FROM t ORDER BY a"},
      {"select a from t order\t by a", "SELECT a FROM t order\tby a"},
      {"commit work  \n", "commit work "},
      {"\t\tupdate t", "\tUPDATE t"},
      // Keywords only at the start or after a separator, as prefixes.
      {"selection", "SELECTion"},
      {"Settings GROUP  BY Gorgonzola", "SETtings GROUP BY GORGONZOLA"},
      {"(select x)", "(SELECT x)"},
      {"a=select", "a=SELECT"},
      {"a,select xselect", "a,select xselect"},
      {"", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(norm(c.in), c.out) << "text: " << c.in;
}

TEST(Normalise, StopsAtTheLengthOrAtANulByte) {
  const char text[] = "select 1\0junk";
  EXPECT_EQ(normaliseSql(text, sizeof text - 1), "SELECT ?");
  // A length that ends inside a literal or a keyword reads nothing beyond it.
  const char buf[] = {'s', 'e', 'l', 'e', 'c', '\'', 'x', 'x'};
  EXPECT_EQ(normaliseSql(buf, 5), "selec");
  EXPECT_EQ(normaliseSql(buf, 6), "selec?");
  EXPECT_EQ(normaliseSql(buf, 0), "");
  EXPECT_EQ(normaliseSql(buf, -3), "");
}

// A run with statement statistics on and its listing captured.
struct StmtRun {
  Harness h{""};
  wp::Run& run = h.run();
  StmtRun() { run.opt.stmtstats = 1; }
  int32_t idOf(size_t i) const { return run.stmts.list.at(i).id; }
  // What the report adds to the listing.
  std::string report() {
    printStatementReport(run);
    return h.listing();
  }
};

TEST(StatementHooks, TextMakesAProvisionalIdCurrentOnlyWithStatistics) {
  StmtRun r;
  r.run.rd.g_ipkt = 41;
  r.run.thr.cur->stmtid = 7;
  r.run.opt.stmtstats = 0;
  statementText(r.run, "select 1", 8);
  EXPECT_EQ(r.run.thr.cur->stmtid, 7);
  EXPECT_TRUE(r.run.stmts.list.empty());

  r.run.opt.stmtstats = 1;
  statementText(r.run, "select 1", 8);
  EXPECT_EQ(r.run.thr.cur->stmtid, 1000041);
  ASSERT_EQ(r.run.stmts.list.size(), 1u);
  EXPECT_EQ(r.idOf(0), 1000041);
  EXPECT_EQ(r.run.stmts.list[0].text, "SELECT ?");
}

TEST(StatementHooks, ServerIdTakesOverTheStatementAndThePendingMessages) {
  StmtRun r;
  wp::Run& run = r.run;
  run.rd.g_ipkt = 5;
  statementText(run, "select a from t", 15);
  store_prev(run, kExProc, 0, 1000005);
  store_prev(run, kClose, 0, 77);
  ::testing::internal::CaptureStderr();
  run.opt.g_idbg = 1;
  serverStatementId(run, 12, false);
  run.opt.g_idbg = 0;
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("Set ID=12 for 1000005\n"), std::string::npos) << err;
  EXPECT_NE(err.find("new stmt ID now 12 (prev. 1000005)\n"), std::string::npos) << err;
  EXPECT_EQ(run.thr.cur->stmtid, 12);
  EXPECT_EQ(r.idOf(0), 12);
  EXPECT_EQ(run.timing.g_prevs[0].stmtid, 12);
  EXPECT_EQ(run.timing.g_prevs[1].stmtid, 77);
  // The pending charge reaches the statement under its new id.
  chargePrevious(run, 2.0);
  EXPECT_EQ(run.stmts.list[0].messages, 1);
  EXPECT_DOUBLE_EQ(run.stmts.list[0].total, 2.0);

  // A current id that is not provisional only gives way to the new one, and
  // so does any id without statistics.
  serverStatementId(run, 13, false);
  EXPECT_EQ(r.idOf(0), 12);
  EXPECT_EQ(run.thr.cur->stmtid, 13);
  run.opt.stmtstats = 0;
  run.thr.cur->stmtid = 1000007;
  serverStatementId(run, 14, false);
  EXPECT_EQ(run.thr.cur->stmtid, 14);
}

TEST(StatementHooks, DescribeRetiresAnOlderStatementWithTheServersId) {
  StmtRun r;
  wp::Run& run = r.run;
  run.rd.g_ipkt = 1;
  statementText(run, "select a from t", 15);
  serverStatementId(run, 9, true);
  stmt_stat(run, 0, 9, kExProc, 0, 1, 0.5);
  run.rd.g_ipkt = 3;
  statementText(run, "select b from t", 15);
  serverStatementId(run, 9, true);  // the server reuses id 9
  stmt_stat(run, 0, 9, kExProc, 0, 1, 0.25);
  EXPECT_EQ(r.idOf(0), StmtStats::kClosed);
  EXPECT_EQ(r.idOf(1), 9);
  EXPECT_DOUBLE_EQ(run.stmts.list[0].total, 0.5);  // keeps its figures
  EXPECT_DOUBLE_EQ(run.stmts.list[1].total, 0.25);
}

TEST(StatementIds, LookupsGiveTheFirstStatementInListOrder) {
  StmtRun r;
  wp::Run& run = r.run;
  new_stmt(run, 0, "a", 1000001, 1);
  new_stmt(run, 0, "b", 1000001, 1);  // same packet, same provisional id
  new_stmt(run, 1, "c", 1000001, 1);  // another thread
  new_stmt(run, 0, "d", 50, 1);
  EXPECT_EQ(find_stmt(run, 0, 1000001)->text, "a");
  EXPECT_EQ(find_stmt(run, 1, 1000001)->text, "c");
  set_stmt_id(run, 0, 50, 1000001);  // "a" joins "d" under 50, ahead of it
  EXPECT_EQ(find_stmt(run, 0, 50)->text, "a");
  EXPECT_EQ(find_stmt(run, 0, 1000001)->text, "b");
  close_stmt(run, 0, 50);
  EXPECT_EQ(find_stmt(run, 0, 50)->text, "d");
  EXPECT_EQ(find_stmt(run, 0, StmtStats::kClosed)->text, "a");
  EXPECT_EQ(find_stmt(run, 2, 50), nullptr);
  // Negative ids change nothing.
  set_stmt_id(run, 0, -5, 50);
  close_stmt(run, 0, -2);
  EXPECT_EQ(find_stmt(run, 0, 50)->text, "d");
  EXPECT_EQ(r.idOf(0), StmtStats::kClosed);
}

const char kHead[] = ">>>>>>>>>>>>>>>>>> STATEMENT STATISTICS <<<<<<<<<<<<<<<<<\n\n";
const std::string kEq = std::string(77, '=') + "\n";
const std::string kDash = std::string(66, '-') + "\n";
const char kCols[] = "Msg          Occured     Total       Avg         Min         Max\n";

// Ungrouped and per thread: every statement with its thread.
TEST(StatementReport, TextsOf70And71CharactersAndLongerAndTheFigureColumns) {
  StmtRun r;
  wp::Run& run = r.run;
  run.opt.stmtgroup = 0;
  run.opt.stmtthread = 1;
  std::string t70 = "select " + std::string(63, 'x');
  std::string t71 = "select " + std::string(64, 'y');
  std::string t155 = std::string(70, 'a') + std::string(75, 'b') + std::string(10, 'c');
  new_stmt(run, 0, t70.c_str(), 1, 70);
  new_stmt(run, 5, t71.c_str(), 2, 71);
  new_stmt(run, 0, t155.c_str(), 3, 155);
  stmt_stat(run, 0, 1, kExProc, 0, 1, 0.25);
  stmt_stat(run, 0, 1, kExProc, 0, 1, 0.5);
  stmt_stat(run, 0, 1, kRelease, 0, 1, 0.0);
  stmt_stat(run, 5, 2, kExProc, 0, 2, 0.125);
  std::string want = kHead + kEq;
  want += "SQL: SELECT " + std::string(63, 'x') + "\n";
  want += "Overall Messages:     3    Total Time: 0.750000    Thread: 0\n";
  want += kCols;
  want += "SQ_EXPROC        2    0.750000     0.375000     0.250000     0.500000\n";
  want += "SQ_RELEASE       1    \n";
  want += kDash;
  want += "SQL: SELECT " + std::string(63, 'y') + "\n";
  want += "y\n";
  want += "Overall Messages:     1    Total Time: 0.125000    Thread: 5\n";
  want += kCols;
  want += "SQ_EXPROC        2    0.125000     0.062500     0.125000     0.125000\n";
  want += kDash;
  want += "SQL: " + std::string(70, 'a') + "\n";
  want += std::string(75, 'b') + "\n";
  want += std::string(10, 'c') + "\n";
  want += "Overall Messages:     0    Total Time: 0.000000    Thread: 0\n";
  want += kCols;
  want += kEq;
  EXPECT_EQ(r.report(), want);
}

TEST(StatementReport, GroupingMergesEqualTextsInFirstAppearanceOrder) {
  StmtRun r;
  wp::Run& run = r.run;
  new_stmt(run, 0, "select 1", 1, 8);
  new_stmt(run, 1, "delete from t", 2, 13);
  new_stmt(run, 1, "SELECT   2", 3, 10);  // same normalised text as the first
  stmt_stat(run, 0, 1, kExProc, 0, 1, 0.5);
  stmt_stat(run, 0, 1, kClose, 0, 1, 0.0);
  stmt_stat(run, 1, 3, kHold, 0, 1, 0.0);
  stmt_stat(run, 1, 3, kExProc, 0, 2, 0.25);
  stmt_stat(run, 1, 2, kExProc, 0, 1, 0.75);
  std::string want = kHead + kEq;
  // Both groups took 0.75 s: the first to appear stays first.
  want += "SQL: SELECT ?" + std::string(62, ' ') + "\n";
  want += "Overall Messages:     4    Total Time: 0.750000\n";
  want += kCols;
  want += "SQ_EXPROC        3    0.750000     0.250000     0.250000     0.500000\n";
  want += "SQ_CLOSE         1    \n";
  want += "SQ_HOLD          1    \n";
  want += kDash;
  want += "SQL: DELETE FROM t" + std::string(57, ' ') + "\n";
  want += "Overall Messages:     1    Total Time: 0.750000\n";
  want += kCols;
  want += "SQ_EXPROC        1    0.750000     0.750000     0.750000     0.750000\n";
  want += kEq;
  EXPECT_EQ(r.report(), want);
  ASSERT_EQ(run.stmts.list.size(), 2u);
  EXPECT_EQ(run.stmts.list[0].thread, 0);  // threads not kept: 0
}

TEST(StatementReport, PerThreadKeepsEqualTextsOfThreadsApart) {
  StmtRun r;
  wp::Run& run = r.run;
  run.opt.stmtthread = 1;
  run.opt.ordercnt = 1;
  new_stmt(run, 3, "select 1", 1, 8);
  new_stmt(run, 4, "select 2", 1, 8);
  new_stmt(run, 3, "select 3", 2, 8);
  stmt_stat(run, 3, 1, kClose, 0, 1, 0.0);
  stmt_stat(run, 4, 1, kClose, 0, 1, 0.0);
  stmt_stat(run, 4, 1, kClose, 0, 1, 0.0);
  stmt_stat(run, 3, 2, kClose, 0, 1, 0.0);
  std::string body = r.report();
  std::string want = kHead + kEq;
  // Thread 4 has two messages; thread 3's group two as well and came first.
  want += "SQL: SELECT ?" + std::string(62, ' ') + "\n";
  want += "Overall Messages:     2    Total Time: 0.000000    Thread: 3\n";
  want += kCols;
  want += "SQ_CLOSE         2    \n";
  want += kDash;
  want += "SQL: SELECT ?" + std::string(62, ' ') + "\n";
  want += "Overall Messages:     2    Total Time: 0.000000    Thread: 4\n";
  want += kCols;
  want += "SQ_CLOSE         2    \n";
  want += kEq;
  EXPECT_EQ(body, want);
}

TEST(StatementOrder, DescendingAndStableForEqualKeys) {
  struct Case {
    int32_t by_count;
    const char* order;
  } cases[] = {{0, "cadbe"}, {1, "deabc"}};
  for (const Case& c : cases) {
    StmtRun r;
    wp::Run& run = r.run;
    // text, messages, total
    struct S {
      const char* text;
      int msgs;
      double total;
    } stmts[] = {{"a", 1, 1.0}, {"b", 1, 0.5}, {"c", 1, 2.0}, {"d", 3, 1.0}, {"e", 3, 0.0}};
    int32_t id = 1;
    for (const S& s : stmts) {
      new_stmt(run, 0, s.text, id, 1);
      for (int i = 0; i < s.msgs; ++i) stmt_stat(run, 0, id, kExProc, 0, 1, i ? 0.0 : s.total);
      ++id;
    }
    order_stmts(run, c.by_count);
    std::string got;
    for (const StmtStat& s : run.stmts.list) got += s.text;
    EXPECT_EQ(got, c.order) << "by_count " << c.by_count;
    // Lookups still find the statements where they now are.
    EXPECT_EQ(find_stmt(run, 0, 3)->text, "c");
  }
}

TEST(StatementOrder, EqualKeysKeepTheirOrderInLongLists) {
  StmtRun r;
  wp::Run& run = r.run;
  const int n = 300;
  for (int i = 0; i < n; ++i) {
    std::string text = std::to_string(i);
    new_stmt(run, 0, text.c_str(), i, static_cast<int32_t>(text.size()));
    stmt_stat(run, 0, i, kExProc, 0, 1, (i * 7 % 3) * 0.5);
  }
  order_stmts(run, 0);
  // Totals 1.0, then 0.5, then 0.0; within each, creation order.
  int at = 0;
  for (int key : {2, 1, 0}) {
    for (int i = 0; i < n; ++i) {
      if (i * 7 % 3 != key) continue;
      ASSERT_EQ(run.stmts.list[at].id, i) << "position " << at;
      ++at;
    }
  }
}

TEST(StatementOrder, ScalesToManyStatements) {
  StmtRun r;
  wp::Run& run = r.run;
  const int n = 200000;
  char text[32];
  for (int i = 0; i < n; ++i) {
    int len = snprintf(text, sizeof text, "select c%d from t", i % 50000);
    new_stmt(run, i % 3, text, 1000000 + i, len);
    set_stmt_id(run, i % 3, i, 1000000 + i);
    stmt_stat(run, i % 3, i, kExProc, 0, 1, (i % 7) * 0.5);
  }
  group_stmts(run, 0);
  ASSERT_EQ(run.stmts.list.size(), 50000u);
  order_stmts(run, 0);
  EXPECT_EQ(run.stmts.list[0].messages, 4);
  for (size_t i = 1; i < run.stmts.list.size(); ++i)
    ASSERT_GE(run.stmts.list[i - 1].total, run.stmts.list[i].total);
}

TEST(StatementReport, DebugDumpsBeforeAndAfterGrouping) {
  StmtRun r;
  wp::Run& run = r.run;
  run.opt.g_idbg = 1;
  ::testing::internal::CaptureStderr();
  new_stmt(run, 0, "select 1", 1, 8);
  stmt_stat(run, 0, 1, kExProc, 0, 2, 0.5);
  std::string setup = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(setup.find("new_stmt: 0 1 select 1\nnew_stmt: new adress=0x"), 0u) << setup;
  EXPECT_NE(setup.find("stmt_stat: SQ_EXPROC 0.50000 ID=1 THREAD=0\nfind_stmt: at 0x"),
            std::string::npos)
      << setup;
  EXPECT_NE(setup.find("... allocated new\n"), std::string::npos) << setup;

  ::testing::internal::CaptureStderr();
  r.report();
  std::string err = ::testing::internal::GetCapturedStderr();
  std::string dump =
      "Debug-Info for statement stats ...\n"
      "STATEMENT[000]: SELECT ?\n"
      "ICNT:     1 DTOTAL: 0.50000\n"
      "  TYPE: SQ_EXPROC\n"
      "  ICNT:     2 DTOTAL: 0.50000 DMIN: 0.50000 DMAX: 0.50000\n" +
      std::string(48, '*') + "\n";
  EXPECT_EQ(err, dump + "group_stmts: ithread=0\norder_stmts: iorder = 0\n" +
                     "After grouping of statements ...\n" + dump);
}

// The report of a short exchange, with the statement decoders' hooks called
// where their messages would be.
TEST(StatementReport, ChargesFromPacketsThroughTheReader) {
  Harness h(
      "CS 1000.0 { msg SQ_EXPROC msg SQ_RELEASE }\n"
      "SC 1000.5 { msg SQ_HOLD }\n"
      "CS 1001.0 { msg SQ_EXPROC msg SQ_EXPROC }\n"
      "SC 1003.0 { msg SQ_BEGIN }\n");
  wp::Run& run = h.run();
  run.opt.timestamp = 1;
  run.opt.stmtstats = 1;
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  statementText(run, "select * from t where a='b'", 27);  // a COMMAND before these
  printpacket(run);
  ASSERT_EQ(h.next(), 0);
  serverStatementId(run, 6, true);  // a DESCRIBE in the reply
  printpacket(run);
  while (h.next() == 0) printpacket(run);
  std::string before = h.listing();
  printStatementReport(run);
  std::string report = h.listing().substr(before.size());
  std::string want = kHead + kEq;
  want += "SQL: SELECT * FROM t WHERE a=? " + std::string(44, ' ') + "\n";
  want += "Overall Messages:     4    Total Time: 2.500000\n";
  want += kCols;
  want += "SQ_EXPROC        3    2.500000     0.833333     0.500000     2.000000\n";
  want += "SQ_RELEASE       1    \n";
  want += "SQ_HOLD          1    \n";
  want += kEq;
  EXPECT_EQ(report, want);
}

}  // namespace
}  // namespace wp
