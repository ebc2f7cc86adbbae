// -report and -db under -from/-to/-thread: they count what the listing lists.
// Every figure below is worked out from the trace text: a request of
// "select N from x" is 24 bytes (type, offset, 2-byte length, 15 bytes and a
// pad, EOT), a DONE reply 18, an ERR reply with an empty name 12, with the
// name "x" 14.
#include <gtest/gtest.h>

#include "analysis_test_util.h"

namespace wp::test {
namespace {

const char* const kTrips =
    "SELECT number, request_packet, thread, statement, printf('%.1f', start - 1700000000), "
    "iif(latency IS NULL, '-', printf('%.2f', latency)), reply_packets, bytes, sql_error, "
    "isam_error FROM round_trips ORDER BY number";

// One thread; the window opens on the reply of the first request and closes
// on the third request, whose reply comes a second after it.
const char* const kWindowTrace = R"(header 7
MT "00000001"
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select 1 from a" msg SQ_EOT }
SC 1700000001.0 { msg SQ_DONE short 0 long 1 long 0 long 0 msg SQ_EOT }
CS 1700000002.0 { msg SQ_COMMAND short 0 str "select 2 from b" msg SQ_EOT }
SC 1700000002.5 { msg SQ_ERR short -201 short 0 short 0 str "" msg SQ_EOT }
CS 1700000003.0 { msg SQ_COMMAND short 0 str "select 3 from c" msg SQ_EOT }
SC 1700000004.0 { msg SQ_ERR short -217 short -111 short 16 str "x" msg SQ_EOT }
)";

// Packets 2 to 5 are listed: 2 exactly at -from, 5 exactly at -to. Packet 2
// answers a request before the window: listed, but in no counted round trip.
// The round trip of packet 5 counts whole, its reply and error after the
// window included; that error is no row of the errors table, which holds what
// the listing shows. Statement 1 was sent before the window and no counted
// round trip ran it.
TEST(AnalysisFilter, WindowEdgesAndReplyAfterTheWindow) {
  auto a = analyse(kWindowTrace, {"-from", "1700000001", "-to", "2023-11-14T22:13:23Z"});
  ASSERT_EQ(a->status, 0);
  EXPECT_EQ(a->rows("SELECT number, record, direction, length, round_trip FROM packets"),
            (std::vector<std::string>{"2|3|S|18|-", "3|4|C|24|1", "4|5|S|12|1", "5|6|C|24|2"}));
  EXPECT_EQ(a->rows(kTrips), (std::vector<std::string>{"1|3|1|2|2.0|0.50|1|36|-201|0",
                                                       "2|5|1|3|3.0|1.00|1|38|-217|-111"}));
  EXPECT_EQ(a->rows("SELECT round_trip, packet, statement, sql_error, isam_error FROM errors"),
            (std::vector<std::string>{"1|4|2|-201|0"}));
  EXPECT_EQ(a->rows("SELECT number, text FROM statements"),
            (std::vector<std::string>{"2|select 2 from b", "3|select 3 from c"}));
  EXPECT_EQ(a->rows("SELECT packet, name FROM messages"),
            (std::vector<std::string>{"2|SQ_DONE", "2|SQ_EOT", "3|SQ_COMMAND", "3|SQ_EOT",
                                      "4|SQ_ERR", "4|SQ_EOT", "5|SQ_COMMAND", "5|SQ_EOT"}));
  EXPECT_EQ(a->rows("SELECT address, packets, round_trips, printf('%.2f', busy), statements, "
                    "errors FROM threads"),
            (std::vector<std::string>{"0x00000001|4|2|1.50|2|1"}));
  EXPECT_EQ(a->one("SELECT packets, round_trips, errors, first_time - 1700000000, "
                   "last_time - 1700000000 FROM trace"),
            "4|2|1|1.0|3.0");
  const auto& c = *a->run->an;
  EXPECT_EQ(c.statementsSent, 2);
  EXPECT_EQ(c.distinctStatements, 2);
  EXPECT_EQ(c.replied, 2);
  EXPECT_NE(a->page.find("<dt>round trips</dt><dd>2 (0 without a reply)</dd>"), std::string::npos);
  EXPECT_NE(a->page.find("<dt>errors (SQ_ERR)</dt><dd>1</dd>"), std::string::npos);
  EXPECT_NE(a->page.find("<dt>statements sent</dt><dd>2</dd>"), std::string::npos);
}

// Nothing listed: a window after the last packet, a thread that never sends,
// a thread index with no packets. The files are written and empty of rows.
TEST(AnalysisFilter, NothingListed) {
  const std::vector<std::vector<std::string>> cases = {
      {"-from", "1700000010"},
      {"-to", "1699999999"},
      {"-thread", "0x00000009"},
      {"-thread", "5"},
  };
  for (const auto& args : cases) {
    SCOPED_TRACE(args[0] + " " + args[1]);
    auto a = analyse(kWindowTrace, args);
    ASSERT_EQ(a->status, 0);
    EXPECT_EQ(a->one("SELECT (SELECT count(*) FROM packets), (SELECT count(*) FROM messages), "
                     "(SELECT count(*) FROM round_trips), (SELECT count(*) FROM statements), "
                     "(SELECT count(*) FROM errors), (SELECT count(*) FROM threads)"),
              "0|0|0|0|0|0");
    EXPECT_EQ(a->one("SELECT packets, round_trips, errors, first_time, last_time FROM trace"),
              "0|0|0|0.0|0.0");
    EXPECT_NE(a->page.find("<dt>round trips</dt><dd>0 (0 without a reply)</dd>"),
              std::string::npos);
    EXPECT_NE(a->page.find("<dt>distinct statements</dt><dd>0 "), std::string::npos);
  }
}

// Two threads interleaved; only the second is asked for, by address and by
// index. Statement 1 is the other thread's; its number stays 2.
TEST(AnalysisFilter, OneThreadOfTwo) {
  const char* trace = R"(header 7
MT "00000001"
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select 1 from a" msg SQ_EOT }
MT "00000002"
CS 1700000000.1 { msg SQ_COMMAND short 0 str "select 2 from b" msg SQ_EOT }
MT "00000001"
SC 1700000000.3 { msg SQ_DONE short 0 long 1 long 0 long 0 msg SQ_EOT }
MT "00000002"
SC 1700000000.35 { msg SQ_ERR short -201 short 0 short 0 str "" msg SQ_EOT }
)";
  for (const char* which : {"0x00000002", "1"}) {
    SCOPED_TRACE(which);
    auto a = analyse(trace, {"-thread", which});
    ASSERT_EQ(a->status, 0);
    EXPECT_EQ(a->rows("SELECT number, record, thread, round_trip FROM packets"),
              (std::vector<std::string>{"2|4|2|1", "4|8|2|1"}));
    EXPECT_EQ(a->rows(kTrips), (std::vector<std::string>{"1|2|2|2|0.1|0.25|1|36|-201|0"}));
    EXPECT_EQ(a->rows("SELECT round_trip, packet, statement FROM errors"),
              (std::vector<std::string>{"1|4|2"}));
    EXPECT_EQ(a->rows("SELECT number, thread, normalised FROM statements"),
              (std::vector<std::string>{"2|2|SELECT ? FROM b"}));
    EXPECT_EQ(a->rows("SELECT thread, packets, round_trips, statements, errors FROM threads"),
              (std::vector<std::string>{"2|2|1|1|1"}));
  }
}

}  // namespace
}  // namespace wp::test
