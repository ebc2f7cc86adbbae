// -report and -db over several traces, run as a user runs the program: one
// database and one report covering all traces, each row keeping its trace,
// the same whatever the number of jobs. Figures are worked out from the trace
// texts: a request of "select N from t" is 24 bytes (type, offset, 2-byte
// length, 15 bytes and a pad, EOT), of "update u set a = 1" 26, a DONE reply
// 18, an ERR reply with an empty name 12. MT addresses read like strtol with
// base 0: "00000010" is 8, "00000020" is 16.
#include <cstdlib>
#include <string>
#include <vector>

#include "program.h"

namespace wp::test {
namespace {

// Two traces that share a thread address and, once normalised, a statement.
const char* const kTraceA = R"(header 7
MT "00000010"
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select 1 from t" msg SQ_EOT }
SC 1700000000.5 { msg SQ_DONE short 0 long 1 long 0 long 0 msg SQ_EOT }
MT "00000020"
CS 1700000001.0 { msg SQ_COMMAND short 0 str "update u set a = 1" msg SQ_EOT }
SC 1700000001.25 { msg SQ_ERR short -201 short 0 short 0 str "" msg SQ_EOT }
)";
const char* const kTraceB = R"(header 7
MT "00000010"
CS 1700000002.0 { msg SQ_COMMAND short 0 str "select 2 from t" msg SQ_EOT }
SC 1700000003.0 { msg SQ_DONE short 0 long 1 long 0 long 0 msg SQ_EOT }
CS 1700000004.0 { msg SQ_COMMAND short 0 str "select 3 from t" msg SQ_EOT }
SC 1700000004.25 { msg SQ_ERR short -201 short 0 short 0 str "" msg SQ_EOT }
)";
// A reply whose message type is invalid: one damaged packet.
const char* const kDamaged = R"(header 7
CS 1700000005.0 { msg SQ_COMMAND short 0 str "select 4 from t" msg SQ_EOT }
SC 1700000005.5 { msg 95 }
)";

class SeveralTraces : public Scratch {
 protected:
  std::string generated(const std::string& name, uint64_t seed, uint64_t size) {
    return Scratch::generated(name, seed, size, 40);
  }

  // The program writing name.sqlite and name.html; returns the exit status.
  int run(const std::string& name, std::vector<std::string> args) {
    args.insert(args.begin(), {"-o", "/dev/null", "-db", path(name + ".sqlite"), "-report",
                               path(name + ".html")});
    int status = Scratch::run(args).status;
    stderr_ = slurp(path("stderr"));
    page_ = slurp(path(name + ".html"));
    db_ = path(name + ".sqlite");
    return status;
  }

  // The rows of a query on the last database (or on `db`).
  std::vector<std::string> rows(const std::string& sql, const std::string& db = "") const {
    return sqlRows(db.empty() ? db_ : db, sql);
  }
  // Every row of every table, in storage order, each led by its table.
  std::vector<std::string> everything(const std::string& db) const {
    std::vector<std::string> all;
    for (const std::string& t :
         rows("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name", db)) {
      for (const std::string& r : rows("SELECT * FROM " + t + " ORDER BY rowid", db))
        all.push_back(t + ": " + r);
    }
    return all;
  }
  bool pageHas(const std::string& fragment) const {
    return page_.find(fragment) != std::string::npos;
  }

  std::string db_, page_, stderr_;
};

// Trace 2 cannot be opened: the others are still in, and it has its row.
TEST_F(SeveralTraces, OneDatabaseEachRowWithItsTrace) {
  std::string a = compiled("a.trace", kTraceA), b = compiled("b.trace", kTraceB);
  ASSERT_EQ(run("x", {"-j", "1", a, path("missing.trace"), b}), 1);
  EXPECT_EQ(stderr_, path("missing.trace") + ": No such file or directory\n");
  std::string options = "-o /dev/null -db " + db_ + " -report " + path("x.html");
  EXPECT_EQ(rows("SELECT id, file, packets, round_trips, errors, damaged_packets, error, options "
                 "FROM trace ORDER BY id"),
            (std::vector<std::string>{
                "1|" + a + "|4|2|1|0|-|" + options,
                "2|" + path("missing.trace") + "|0|0|0|0|No such file or directory|" + options,
                "3|" + b + "|4|2|1|0|-|" + options}));
  // The same address in two traces is two threads.
  EXPECT_EQ(rows("SELECT trace, thread, address, packets, round_trips, statements, errors FROM "
                 "threads"),
            (std::vector<std::string>{"1|8|0x00000010|2|1|1|0", "1|16|0x00000020|2|1|1|1",
                                      "3|8|0x00000010|4|2|2|1"}));
  EXPECT_EQ(rows("SELECT trace, count(*), min(number), max(number), sum(length) FROM packets "
                 "GROUP BY trace"),
            (std::vector<std::string>{"1|4|1|4|80", "3|4|1|4|78"}));
  EXPECT_EQ(rows("SELECT trace, count(*) FROM messages GROUP BY trace"),
            (std::vector<std::string>{"1|8", "3|8"}));
  EXPECT_EQ(rows("SELECT trace, number, thread, id, text, normalised FROM statements"),
            (std::vector<std::string>{"1|1|8|1000002|select 1 from t|SELECT ? FROM t",
                                      "1|2|16|1000005|update u set a = 1|UPDATE u SET a = ?",
                                      "3|1|8|1000002|select 2 from t|SELECT ? FROM t",
                                      "3|2|8|1000004|select 3 from t|SELECT ? FROM t"}));
  EXPECT_EQ(rows("SELECT trace, number, request_packet, thread, statement, latency, "
                 "reply_packets, bytes, sql_error FROM round_trips"),
            (std::vector<std::string>{"1|1|1|8|1|0.5|1|42|-", "1|2|3|16|2|0.25|1|38|-201",
                                      "3|1|1|8|1|1.0|1|42|-", "3|2|3|8|2|0.25|1|36|-201"}));
  EXPECT_EQ(rows("SELECT trace, round_trip, packet, statement, sql_error FROM errors"),
            (std::vector<std::string>{"1|2|4|2|-201", "3|2|4|2|-201"}));
  // A statement group by normalised text across traces: the queries the
  // README shows join on (trace, statement).
  EXPECT_EQ(rows("SELECT s.normalised, count(*), sum(r.latency), count(r.sql_error) FROM "
                 "round_trips r JOIN statements s ON s.trace = r.trace AND s.number = "
                 "r.statement GROUP BY s.normalised ORDER BY s.normalised"),
            (std::vector<std::string>{"SELECT ? FROM t|3|1.75|1", "UPDATE u SET a = ?|1|0.25|1"}));

  // The report: every trace named, the merged group's figures (latencies
  // 0.5, 1.0 and 0.25 s: mean 583.333 ms, nearest-rank p50 500, p95 1000).
  EXPECT_TRUE(pageHas("<title>wireprint report: 3 traces</title>"));
  EXPECT_TRUE(pageHas("<dt>traces</dt><dd>3 (listed below)</dd>"));
  for (const std::string& f : {a, path("missing.trace"), b})
    EXPECT_TRUE(pageHas("<td class=\"sql\">" + f + "</td>")) << f;
  EXPECT_TRUE(pageHas("<td>no: No such file or directory</td>"));
  EXPECT_TRUE(pageHas("<dt>client threads</dt><dd>3</dd>"));
  EXPECT_TRUE(pageHas("<dt>round trips</dt><dd>4 (0 without a reply)</dd>"));
  EXPECT_TRUE(pageHas("<dt>statements sent</dt><dd>4</dd>"));
  EXPECT_TRUE(pageHas("<dt>distinct statements</dt><dd>2 (by normalised text)</dd>"));
  EXPECT_TRUE(
      pageHas("<td class=\"sql\">SELECT ? FROM t</td><td data-v=\"3.000000000\">3</td><td "
              "data-v=\"1.750000000\">1.750</td><td data-v=\"0.583333333\">583.333</td><td "
              "data-v=\"0.500000000\">500.000</td><td data-v=\"1.000000000\">1000.000</td>"));
  // The error's first one is in trace 1, packet 4, of the UPDATE.
  EXPECT_TRUE(
      pageHas("<td data-v=\"2.000000000\">2</td><td data-v=\"1.000000000\">1</td><td "
              "data-v=\"4.000000000\">4</td><td class=\"sql\">UPDATE u SET a = ?</td>"));
  // Thread 0x00000010 of trace 3.
  EXPECT_TRUE(
      pageHas("<tr><td data-v=\"3.000000000\">3</td><td data-v=\"8.000000000\">0x00000010"
              "</td><td data-v=\"4.000000000\">4</td><td data-v=\"2.000000000\">2</td>"));

  // Two jobs (writing the same files), then traces in another order: the
  // same rows and page for the same order, other ids for the other.
  std::vector<std::string> one = everything(db_);
  std::string page = page_;
  ASSERT_EQ(run("x", {"-j", "2", a, path("missing.trace"), b}), 1);
  EXPECT_EQ(everything(db_), one);
  EXPECT_TRUE(page_ == page);
  ASSERT_EQ(run("z", {"-j", "2", b, a}), 0);
  EXPECT_EQ(rows("SELECT trace, count(*) FROM round_trips GROUP BY trace"),
            (std::vector<std::string>{"1|2", "2|2"}));
  EXPECT_EQ(rows("SELECT id, substr(file, length(file) - 6) FROM trace"),
            (std::vector<std::string>{"1|b.trace", "2|a.trace"}));
}

// The window applies to each trace: from 1700000001, trace 1 keeps its
// second thread's round trip, trace 2 all of its own. The damaged trace is
// outside the window, but its damage is still said.
TEST_F(SeveralTraces, FilterAndDamageAcrossTraces) {
  std::string a = compiled("a.trace", kTraceA), b = compiled("b.trace", kTraceB),
              c = compiled("c.trace", kDamaged);
  ASSERT_EQ(run("x", {"-from", "1700000001", "-to", "1700000004", a, b, c}), 0);
  EXPECT_EQ(rows("SELECT id, packets, round_trips, errors, damaged_packets FROM trace"),
            (std::vector<std::string>{"1|2|1|1|0", "2|3|2|0|0", "3|0|0|0|1"}));
  EXPECT_EQ(rows("SELECT trace, thread, packets, round_trips FROM threads"),
            (std::vector<std::string>{"1|16|2|1", "2|8|3|2"}));
  // Trace 2's last request is at -to; its reply after the window still
  // gives it its latency and error, but no errors row.
  EXPECT_EQ(rows("SELECT trace, number, statement, latency, sql_error FROM round_trips"),
            (std::vector<std::string>{"1|1|2|0.25|-201", "2|1|1|1.0|-", "2|2|2|0.25|-201"}));
  EXPECT_EQ(rows("SELECT trace, packet FROM errors"), (std::vector<std::string>{"1|4"}));
  EXPECT_EQ(rows("SELECT trace, number, text FROM statements"),
            (std::vector<std::string>{"1|2|update u set a = 1", "2|1|select 2 from t",
                                      "2|2|select 3 from t"}));
  EXPECT_TRUE(pageHas("<dt>damaged packets</dt><dd>1</dd>"));
  EXPECT_TRUE(pageHas("<dt>round trips</dt><dd>3 (0 without a reply)</dd>"));
  EXPECT_TRUE(pageHas("<dt>errors (SQ_ERR)</dt><dd>1</dd>"));
}

// A compressed trace cut short: its error line, then the next trace; its row
// says why it stopped, and so does the report.
TEST_F(SeveralTraces, CutTraceSaysWhyItStopped) {
  std::string a = compiled("a.trace", kTraceA), b = compiled("b.trace", kTraceB);
  ASSERT_EQ(system(("gzip -nc '" + a + "' | head -c 40 > '" + path("cut.gz") + "'").c_str()), 0);
  ASSERT_EQ(run("x", {path("cut.gz"), b}), 0);
  EXPECT_EQ(stderr_, path("cut.gz") + ": truncated gzip input\n");
  EXPECT_EQ(rows("SELECT id, iif(id = 1, packets < 4, packets), error FROM trace"),
            (std::vector<std::string>{"1|1|truncated gzip input", "2|4|-"}));
  EXPECT_EQ(rows("SELECT trace, count(*) FROM round_trips WHERE trace = 2"),
            (std::vector<std::string>{"2|2"}));
  EXPECT_TRUE(pageHas("<td>no: truncated gzip input</td>"));
}

// Standard input among the traces is named as the listing names it.
TEST_F(SeveralTraces, StandardInputNamed) {
  std::string a = compiled("a.trace", kTraceA), b = compiled("b.trace", kTraceB);
  std::string cmd = std::string("TZ=UTC ") + WIREPRINT_BINARY + " -db " + path("s.sqlite") +
                    " -o /dev/null " + a + " - < " + b;
  ASSERT_EQ(system(cmd.c_str()), 0);
  EXPECT_EQ(rows("SELECT id, file, round_trips FROM trace", path("s.sqlite")),
            (std::vector<std::string>{"1|" + a + "|2", "2|standard input|2"}));
}

// A report or database that would replace one of the traces is refused
// before anything is read or written.
TEST_F(SeveralTraces, OutputThatIsATraceRefused) {
  std::string a = compiled("a.trace", kTraceA), b = compiled("b.trace", kTraceB);
  std::string before = slurp(b);
  for (const char* option : {"-db", "-report"}) {
    SCOPED_TRACE(option);
    std::string err = path("err");
    std::string cmd = std::string(WIREPRINT_BINARY) + " " + option + " " + b + " " + a + " " + b +
                      " > /dev/null 2> " + err;
    EXPECT_EQ(WEXITSTATUS(system(cmd.c_str())), 1);
    EXPECT_EQ(slurp(err), b + ": Output file is the input file\n");
    EXPECT_TRUE(slurp(b) == before);
  }
}

// Generated traces big enough that the jobs overlap: the database and the
// page are the same at one, two and three jobs.
TEST_F(SeveralTraces, GeneratedTracesSameAtAnyJobs) {
  std::vector<std::string> traces = {generated("a.trace", 21, 3 << 20),
                                     generated("b.trace", 22, 1 << 20),
                                     generated("c.trace", 23, 2 << 20)};
  auto with = [&](const char* jobs) {
    std::vector<std::string> args = {"-j", jobs};
    args.insert(args.end(), traces.begin(), traces.end());
    return run("j", args);
  };
  ASSERT_EQ(with("1"), 0);
  std::vector<std::string> one = everything(db_);
  std::string page = page_;
  // Each trace's rows are those of its run alone, under its id.
  for (int t = 0; t < 3; ++t) {
    ASSERT_EQ(run("alone" + std::to_string(t), {traces[static_cast<size_t>(t)]}), 0);
    std::string n = std::to_string(t + 1);
    EXPECT_EQ(rows("SELECT count(*), sum(bytes), sum(latency) FROM round_trips"),
              rows("SELECT count(*), sum(bytes), sum(latency) FROM round_trips WHERE trace = " + n,
                   path("j.sqlite")))
        << t;
    EXPECT_EQ(rows("SELECT count(*) FROM packets"),
              rows("SELECT count(*) FROM packets WHERE trace = " + n, path("j.sqlite")));
    // Each trace's run renders its own messages' fields.
    const char* fields =
        "SELECT count(fields), sum(length(fields)), min(fields), max(fields) FROM "
        "message_rows";
    EXPECT_EQ(rows(fields), rows(std::string(fields) + " WHERE trace = " + n, path("j.sqlite")));
    EXPECT_EQ(rows("SELECT count(*) FROM message_rows WHERE fields IS NULL AND type <= 139"),
              (std::vector<std::string>{"0"}));
  }
  EXPECT_GT(one.size(), 1000u);
  for (const char* jobs : {"2", "3"}) {
    ASSERT_EQ(with(jobs), 0);
    EXPECT_TRUE(everything(db_) == one) << jobs;
    EXPECT_TRUE(page_ == page) << jobs;
  }
  // No temporary database is left beside the real one.
  EXPECT_EQ(system(("test -z \"$(ls '" + dir_ + "' | grep part)\"").c_str()), 0);
}

}  // namespace
}  // namespace wp::test
