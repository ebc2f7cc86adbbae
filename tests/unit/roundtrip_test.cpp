// Round trips as -db stores them and -report counts them, on hand-built
// traces: interleaved client threads, replies over several packets, error
// replies, fork markers, statement ids and damaged records.
#include <gtest/gtest.h>

#include "analysis_test_util.h"

namespace wp::test {
namespace {

const char* const kTrip =
    "SELECT number, request_packet, thread, statement, printf('%.6f', start - 1700000000), "
    "iif(latency IS NULL, '-', printf('%.6f', latency)), reply_packets, bytes, rows, sql_error, "
    "isam_error FROM round_trips "
    "ORDER BY number";

// Two threads send before either gets its reply; each reply pairs with its own
// thread's request.
TEST(RoundTrips, ThreadsInterleavedByMarkers) {
  auto a = analyse(R"(header 7
MT "00000001"
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select 1 from a" msg SQ_EOT }
MT "00000002"
CS 1700000000.1 { msg SQ_COMMAND short 0 str "select 2 from b" msg SQ_EOT }
MT "00000001"
SC 1700000000.3 { msg SQ_DONE short 0 long 1 long 0 long 0 msg SQ_EOT }
MT "00000002"
SC 1700000000.35 { msg SQ_DONE short 0 long 1 long 0 long 0 msg SQ_EOT }
)");
  ASSERT_EQ(a->status, 0);
  // 24-byte requests ("select 1 from a" is 15 bytes, padded), 18-byte replies.
  EXPECT_EQ(a->rows(kTrip), (std::vector<std::string>{
                                "1|1|1|1|0.000000|0.300000|1|42|0|-|-",
                                "2|2|2|2|0.100000|0.250000|1|42|0|-|-",
                            }));
  // Provisional ids: 1000000 and the record number, markers counted.
  EXPECT_EQ(a->rows("SELECT number, thread, id, text, normalised FROM statements"),
            (std::vector<std::string>{"1|1|1000002|select 1 from a|SELECT ? FROM a",
                                      "2|2|1000004|select 2 from b|SELECT ? FROM b"}));
  EXPECT_EQ(
      a->rows("SELECT number, record, direction, length, thread, round_trip FROM packets"),
      (std::vector<std::string>{"1|2|C|24|1|1", "2|4|C|24|2|2", "3|6|S|18|1|1", "4|8|S|18|2|2"}));
  EXPECT_EQ(a->rows("SELECT thread, address, packets, round_trips, printf('%.2f', busy), "
                    "statements, errors FROM threads"),
            (std::vector<std::string>{"1|0x00000001|2|1|0.30|1|0", "2|0x00000002|2|1|0.25|1|0"}));
}

// Twelve threads (addresses in octal, as the reader parses a leading 0) each
// send a request, then the replies come in reverse order,
// each after its thread's marker: every reply joins its own thread's request.
TEST(RoundTrips, ManyThreadsRepliesReversed) {
  std::string d = "header 7\n";
  char line[160];
  for (int t = 1; t <= 12; ++t) {
    snprintf(line, sizeof line, "MT \"%08o\"\nCS 1700000000.%02d { msg SQ_EOT }\n", t, t);
    d += line;
  }
  for (int t = 12; t >= 1; --t) {
    snprintf(line, sizeof line, "MT \"%08o\"\nSC 1700000001.%02d { msg SQ_EOT }\n", t, t);
    d += line;
  }
  auto a = analyse(d);
  ASSERT_EQ(a->status, 0);
  // Request at .tt, reply at 1.tt: every latency is one second.
  EXPECT_EQ(a->one("SELECT count(*), sum(reply_packets), min(round(latency, 4)), "
                   "max(round(latency, 4)) FROM round_trips"),
            "12|12|1.0|1.0");
  EXPECT_EQ(a->one("SELECT count(*) FROM packets p JOIN round_trips r ON r.number = p.round_trip "
                   "WHERE p.thread != r.thread"),
            "0");
  EXPECT_EQ(a->one("SELECT count(*), min(round_trips), max(round_trips) FROM threads"), "12|1|1");
}

// A result set over three packets, one row's data split between two of them;
// then a request that gets no reply.
TEST(RoundTrips, ReplySpreadOverPackets) {
  auto a = analyse(R"(header 7
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select x from t" msg SQ_EOT }
SC 1700000000.5 { msg SQ_TUPLE short 0 short 4 hex 01020304 }
SC 1700000000.6 { msg SQ_TUPLE short 0 short 6 hex 0102 }
SC 1700000000.7 { hex 03040506 msg SQ_DONE short 0 long 2 long 0 long 0 msg SQ_EOT }
CS 1700000001.0 { msg SQ_EOT }
)");
  ASSERT_EQ(a->status, 0);
  // Bytes: 24 + 10 + 8 + 22; the second request is charged to the statement
  // its thread still has.
  EXPECT_EQ(a->rows(kTrip), (std::vector<std::string>{
                                "1|1|0|1|0.000000|0.500000|3|64|2|-|-",
                                "2|5|0|1|1.000000|-|0|2|0|-|-",
                            }));
  // The second tuple's fields are whole although its data ends in the next
  // packet (whose SQ_DONE follows the four carried bytes).
  EXPECT_EQ(a->rows("SELECT packet, offset, type, name, fields FROM messages"),
            (std::vector<std::string>{
                R"(1|0|1|SQ_COMMAND|{"n_values":0,"cmd":"select x from t"})",
                "1|22|12|SQ_EOT|{}",
                R"(2|0|14|SQ_TUPLE|{"n_warnings":0,"tuple_length":4})",
                R"(3|0|14|SQ_TUPLE|{"n_warnings":0,"tuple_length":6})",
                R"(4|4|15|SQ_DONE|{"warning":0,"n_rows":2,"rowid":0,"serial_id":0})",
                "4|20|12|SQ_EOT|{}",
                "5|0|12|SQ_EOT|{}",
            }));
  const auto& c = *a->run->an;
  EXPECT_EQ(c.trips, 2);
  EXPECT_EQ(c.replied, 1);
  EXPECT_EQ(c.groups.at(0).rows, 2u);
}

TEST(RoundTrips, ErrorReplies) {
  auto a = analyse(R"(header 7
CS 1700000000.0 {
  msg SQ_PREPARE short 0 str "selct name from item" msg SQ_NDESCRIBE msg SQ_WANTDONE msg SQ_EOT }
SC 1700000000.015 { msg SQ_ERR short -201 short 0 short 0 str "" msg SQ_EOT }
CS 1700000000.03 { msg SQ_COMMAND short 0 str "update item set prise = 0 where id = 5" msg SQ_EOT }
SC 1700000000.03375 { msg SQ_ERR short -217 short -111 short 16 str "prise" msg SQ_EOT }
CS 1700000000.05 { msg SQ_COMMAND short 0 str "update item set prise = 1 where id = 6" msg SQ_EOT }
SC 1700000000.06 { msg SQ_ERR short -217 short -111 short 16 str "prise" msg SQ_EOT }
)");
  ASSERT_EQ(a->status, 0);
  EXPECT_EQ(a->rows("SELECT round_trip, packet, statement, sql_error, isam_error FROM errors"),
            (std::vector<std::string>{"1|2|1|-201|0", "2|4|2|-217|-111", "3|6|3|-217|-111"}));
  EXPECT_EQ(a->rows("SELECT number, sql_error, isam_error FROM round_trips ORDER BY number"),
            (std::vector<std::string>{"1|-201|0", "2|-217|-111", "3|-217|-111"}));
  const auto& c = *a->run->an;
  ASSERT_EQ(c.errorGroups.size(), 2u);
  const auto& g = c.errorGroups.at({-217, -111});
  EXPECT_EQ(g.count, 2u);
  EXPECT_EQ(g.firstPacket, 4);
  EXPECT_EQ(c.groups.at(g.firstGroup).text, "UPDATE item SET prise = ? WHERE id = ?");
  EXPECT_EQ(c.groups.at(g.firstGroup).errors, 2u);
  // The report's error table: the pair, its count, first packet, statement.
  EXPECT_NE(a->page.find("<td data-v=\"-217.000000000\">-217</td><td data-v=\"-111.000000000\">"
                         "-111</td><td data-v=\"2.000000000\">2</td><td data-v=\"4.000000000\">4"
                         "</td><td class=\"sql\">UPDATE item SET prise = ? WHERE id = ?</td>"),
            std::string::npos);
}

// After a fork marker the reader hands the last packet over again: its
// messages and statement are not counted twice, and the round trip goes on.
TEST(RoundTrips, ForkMarker) {
  auto a = analyse(R"(header 7
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select 1 from a" msg SQ_EOT }
CF 4242
SC 1700000000.2 { msg SQ_DONE short 0 long 0 long 0 long 0 msg SQ_EOT }
)");
  ASSERT_EQ(a->status, 0);
  EXPECT_EQ(a->rows(kTrip), (std::vector<std::string>{"1|1|0|1|0.000000|0.200000|1|42|0|-|-"}));
  EXPECT_EQ(a->one("SELECT count(*) FROM messages"), "4");
  EXPECT_EQ(a->one("SELECT count(*) FROM statements"), "1");
  EXPECT_EQ(a->one("SELECT packets, forks, round_trips FROM trace"), "2|1|1");
}

// The server's id names the statement; a request naming an id again runs that
// statement; an id never prepared in the trace gets a statement without text.
TEST(RoundTrips, StatementIds) {
  auto a = analyse(R"(header 7
CS 1700000000.0 { msg SQ_PREPARE short 0 str "select a from t" msg SQ_EOT }
SC 1700000000.1 { msg SQ_ID short 7 msg SQ_EOT }
CS 1700000000.2 { msg SQ_PREPARE short 0 str "select b from t" msg SQ_EOT }
SC 1700000000.3 { msg SQ_ID short 8 msg SQ_EOT }
CS 1700000000.4 { msg SQ_ID short 7 msg SQ_EOT }
SC 1700000000.5 { msg SQ_DONE short 0 long 0 long 0 long 0 msg SQ_EOT }
CS 1700000000.6 { msg SQ_ID short 99 msg SQ_EOT }
SC 1700000000.7 { msg SQ_EOT }
)");
  ASSERT_EQ(a->status, 0);
  EXPECT_EQ(a->rows("SELECT number, id, text, normalised FROM statements"),
            (std::vector<std::string>{"1|7|select a from t|SELECT a FROM t",
                                      "2|8|select b from t|SELECT b FROM t", "3|99||"}));
  EXPECT_EQ(a->rows("SELECT statement FROM round_trips ORDER BY number"),
            (std::vector<std::string>{"1", "2", "1", "3"}));
  EXPECT_NE(a->page.find("(text not in the trace)"), std::string::npos);
}

// Damage of three kinds: an invalid message type, an unknown record code and
// a record longer than the rest of the file. Both files are still complete
// and say so.
TEST(RoundTrips, DamagedTraceStillWritten) {
  auto a = analyse(R"(header 7
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select 1 from a" msg SQ_EOT }
SC 1700000000.2 { msg 95 }
XY 1700000000.3 { msg SQ_EOT }
SC len=100 1700000000.4 { msg SQ_EOT }
)");
  ASSERT_EQ(a->status, 0);
  EXPECT_EQ(a->one("SELECT damaged_packets, packets FROM trace"), "3|4");
  EXPECT_EQ(a->one("PRAGMA integrity_check"), "ok");
  EXPECT_EQ(a->one("SELECT count(*) FROM packets"), "4");
  EXPECT_NE(a->page.find("Damaged packets: 3."), std::string::npos);
  EXPECT_EQ(a->page.substr(a->page.size() - 8), "</html>\n");
}

// A trace that ends inside a message ends the run with status 1; the files are
// still written, and the packet the message began in counts as damaged.
TEST(RoundTrips, TraceEndingInsideAMessage) {
  auto a = analyse(R"(header 7
CS 1700000000.0 { msg SQ_COMMAND short 0 str "select 1 from a" msg SQ_EOT }
SC 1700000000.2 { msg SQ_DONE short 0 long 1 long 0 long 0 msg SQ_EOT }
CS 1700000000.4 { msg SQ_COMMAND short 0 }
)");
  EXPECT_EQ(a->status, 1);
  EXPECT_EQ(a->one("SELECT damaged_packets, packets, round_trips FROM trace"), "1|3|2");
  EXPECT_EQ(a->rows("SELECT number, iif(latency IS NULL, '-', round(latency, 4)) FROM round_trips"),
            (std::vector<std::string>{"1|0.2", "2|-"}));
  EXPECT_NE(a->page.find("Damaged packets: 1."), std::string::npos);
}

// The example trace of failing statements: every count worked out from its
// description (examples/error.test).
TEST(RoundTrips, ExampleTraceRowCounts) {
  std::ifstream f(std::string(WIREPRINT_SOURCE_DIR) + "/examples/error.trace", std::ios::binary);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  ASSERT_FALSE(bytes.empty());
  auto a = analyseBytes(bytes);
  ASSERT_EQ(a->status, 0);
  EXPECT_EQ(a->one("SELECT (SELECT count(*) FROM packets), (SELECT count(*) FROM messages), "
                   "(SELECT count(*) FROM round_trips), (SELECT count(*) FROM statements), "
                   "(SELECT count(*) FROM errors), (SELECT count(*) FROM threads)"),
            "10|20|5|3|3|1");
  EXPECT_EQ(a->rows("SELECT printf('%.5f', latency), statement, sql_error FROM round_trips "
                    "ORDER BY number"),
            (std::vector<std::string>{"0.00250|-|-", "0.00500|1|-201", "0.00375|2|-217",
                                      "0.01250|3|-937", "0.00500|3|-"}));
  EXPECT_EQ(a->one("SELECT file, options, version, packets, damaged_packets, round_trips, "
                   "errors FROM trace"),
            "trace|-db " + a->db + " -report " + a->html + "|" WIREPRINT_VERSION "|10|0|5|3");
}

// The tables and columns that the README and the manual page document.
TEST(RoundTrips, Schema) {
  auto a = analyse("header 7\n");
  std::vector<std::string> want = {
      "errors|trace,round_trip,packet,statement,sql_error,isam_error",
      "message_rows|trace,packet,offset,type,fields",
      "message_types|type,name",
      "messages|trace,packet,offset,type,name,fields",
      "packets|trace,number,record,direction,length,time,thread,round_trip",
      "round_trips|trace,number,request_packet,thread,statement,start,latency,reply_packets,"
      "bytes,rows,sql_error,isam_error",
      "statements|trace,number,thread,id,text,normalised",
      "threads|trace,thread,address,packets,round_trips,busy,statements,errors",
      "trace|id,file,options,version,first_time,last_time,packets,damaged_packets,forks,"
      "round_trips,errors,client_time,server_time,error",
  };
  EXPECT_EQ(a->rows("SELECT m.name, group_concat(p.name) FROM sqlite_master m, "
                    "pragma_table_info(m.name) p WHERE m.type IN ('table', 'view') GROUP BY "
                    "m.name ORDER BY m.name"),
            want);
  // Types 1 to 139 all have names.
  EXPECT_EQ(a->one("SELECT count(*), min(type), max(type) FROM message_types"), "139|1|139");
}

}  // namespace
}  // namespace wp::test
