// Statement statistics as data: the SQL normalisation, lookups by id and the
// ordering of long lists. Hooks, charges and the report are golden tests.
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

constexpr int kExProc = 59;

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

// A run with statement statistics on.
struct StmtRun {
  Harness h{""};
  wp::Run& run = h.run();
  StmtRun() { run.opt.stmtstats = 1; }
};

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
  EXPECT_EQ(run.stmts.list[0].id, StmtStats::kClosed);
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
  // Lookups find the statements where they are now.
  for (int id : {0, 1, 299}) EXPECT_EQ(find_stmt(run, 0, id)->id, id);
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

}  // namespace
}  // namespace wp
