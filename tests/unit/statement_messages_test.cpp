// Statement, cursor, row and error messages decoded from described traces.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>
#include <vector>

#include "statement_decode.h"
#include "values/codeset.h"

namespace wp {
namespace {

using test::Decode;

const std::string kRule(80, '=');

struct Case {
  const char* what;
  std::vector<int> bits;  // protocolver
  const char* options;    // "min", "tuple", "blob" in any combination
  const char* records;
  std::string listing;
  int status = 0;
};

void check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Decode d(c.records);
    for (int bit : c.bits) test::setBits(d.caps().protocolver, {bit});
    std::string opts = c.options;
    d.opt().min = opts.find("min") != std::string::npos;
    d.opt().dump_tuple = opts.find("tuple") != std::string::npos;
    d.opt().blob_hex = opts.find("blob") != std::string::npos;
    EXPECT_EQ(d.all(), c.status);
    EXPECT_EQ(d.listing(), c.listing);
  }
}

TEST(StatementText, LengthsPacketsAndMin) {
  check({
      {"short length",
       {},
       "",
       "CS { msg SQ_PREPARE short 0 str \"select 1\" }",
       "[CS 14]\n\tSQ_PREPARE\n\t\t# values: 0\n\t\tCMD.....: \"select 1\" [8]\n"},
      {"bit 57: long length",
       {57},
       "",
       "CS { msg SQ_COMMAND short 3 lstr \"select 1\" }",
       "[CS 16]\n\tSQ_COMMAND\n\t\t# values: 3\n\t\tCMD.....: \"select 1\" [8]\n"},
      {"an unsigned short length",
       {},
       "",
       "CS { msg SQ_COMMAND short 0 short 0x8000 }",
       // 32768 bytes are wanted and the trace has none
       "[CS 6]\n\tSQ_COMMAND\n\t\t# values: 0\n",
       1},
      {"-min keeps the text",
       {},
       "min",
       "CS { msg SQ_PREPARE short 2 str \"abc\" }",
       "[CS 10]\n\tSQ_PREPARE\n\t\tCMD.....: \"abc\" [3]\n"},
      {"odd text skips its pad byte",
       {},
       "",
       "CS { msg SQ_COMMAND short 0 str \"abc\" msg SQ_RELEASE }",
       "[CS 12]\n\tSQ_COMMAND\n\t\t# values: 0\n\t\tCMD.....: \"abc\" [3]\n\tSQ_RELEASE\n"},
      // With nothing left after the length, the next packet is taken first,
      // even for an empty text; its messages are decoded in the same call.
      {"empty text at the end of a packet",
       {},
       "",
       "CS { msg SQ_COMMAND short 0 short 0 }\nCS { msg SQ_RELEASE }",
       "[CS 6]\n\tSQ_COMMAND\n\t\t# values: 0\n[CS 2]\n\t\tCMD.....: \"\" [0]\n\tSQ_RELEASE\n"},
      {"text split over packets",
       {},
       "",
       "CS { msg SQ_PREPARE short 0 short 9 text \"sele\" }\nCS { text \"ct 12\" pad }",
       "[CS 10]\n\tSQ_PREPARE\n\t\t# values: 0\n[CS 6]\n\t\tCMD.....: \"select 12\" [9]\n"},
      {"DPREPARE reads like PREPARE",
       {57},
       "",
       "CS { msg SQ_DPREPARE short 1 lstr \"x\" }",
       "[CS 10]\n\tSQ_DPREPARE\n\t\t# values: 1\n\t\tCMD.....: \"x\" [1]\n"},
      {"SGKPREPARE has only a count",
       {},
       "",
       "CS { msg SQ_SGKPREPARE short 4 }",
       "[CS 4]\n\tSQ_SGKPREPARE\n\t\t# values: 4\n"},
  });
}

TEST(StatementText, CommandListAndPrepareCount) {
  std::string text60(60, 'x');
  text60.replace(0, 6, "select");
  Decode d(
      "CS { msg SQ_COMMAND short 0 str \"drop table t\" }\n"
      "CS { msg SQ_PREPARE short 0 str \"" +
      text60 +
      "\" }\n"
      "CS { msg SQ_DPREPARE short 0 str \"update t\" }\n"
      "CS { msg SQ_SGKPREPARE short 0 }\n");
  ASSERT_EQ(d.all(), 0);
  const CommandList& c = d.run().cmds;
  ASSERT_EQ(c.count, 3);
  EXPECT_STREQ(c.entries[0].text, "drop table t");
  EXPECT_EQ(c.entries[0].length, 12);
  EXPECT_EQ(c.entries[0].prepared, 0);
  EXPECT_EQ(std::string(c.entries[1].text), text60.substr(0, 59));
  EXPECT_EQ(c.entries[1].length, 60);
  EXPECT_EQ(c.entries[1].prepared, 1);
  EXPECT_STREQ(c.entries[2].text, "update t");
  EXPECT_EQ(c.entries[2].prepared, 1);
  // PREPARE and SGKPREPARE count; COMMAND and DPREPARE do not.
  EXPECT_EQ(d.run().sum.prepares, 2);
}

TEST(StatementText, HundredthPrepareIsListedButNotRecorded) {
  std::string records;
  for (int i = 1; i <= 100; ++i)
    records += "CS { msg SQ_PREPARE short 0 str \"select " + std::to_string(1000 + i) + "\" }\n";
  Decode d(records);
  ASSERT_EQ(d.all(), 0);
  EXPECT_EQ(d.run().cmds.count, 99);
  EXPECT_STREQ(d.run().cmds.entries[98].text, "select 1099");
  EXPECT_EQ(d.run().sum.prepares, 100);
  EXPECT_NE(d.listing().find("CMD.....: \"select 1100\" [11]\n"), std::string::npos);
}

TEST(StatementIdHandover, ProvisionalIdAndServerId) {
  // With statistics the text makes packet number + 1000000 current; SQ_ID
  // replaces it, and does so also without statistics.
  for (int stats : {0, 1}) {
    SCOPED_TRACE(stats);
    Decode d("CS { msg SQ_PREPARE short 0 str \"select 1\" }\nSC { msg SQ_ID short -2 }\n");
    d.opt().stmtstats = stats;
    d.opt().min = 1;
    ASSERT_TRUE(d.packet());
    EXPECT_EQ(d.run().thr.cur->stmtid, stats ? 1000001 : 0);
    ASSERT_TRUE(d.packet());
    EXPECT_EQ(d.run().thr.cur->stmtid, -2);
    EXPECT_EQ(d.listing(),
              "[CS 14]\n\tSQ_PREPARE\n\t\tCMD.....: \"select 1\" [8]\n[SC 4]\n\tSQ_ID\n\t\t-2\n");
  }
  Decode d("CS { msg SQ_SGKPREPARE short 0 }\nCS { msg SQ_PREPARE short 0 str \"x\" }\n");
  d.opt().stmtstats = 1;
  ASSERT_TRUE(d.packet());
  EXPECT_EQ(d.run().thr.cur->stmtid, 1000001);
  ASSERT_TRUE(d.packet());
  EXPECT_EQ(d.run().thr.cur->stmtid, 1000002);
}

// Statistics keep the converted text, the command list the raw one.
TEST(StatementIdHandover, StatementsInTheStatistics) {
  setenv("LC_ALL", "C.UTF-8", 1);
  Decode d(
      "CS { msg SQ_PREPARE short 0 str \"select caf\\xe9 from t where a = 1\" }\n"
      "SC { msg SQ_ID short 5 }\n"
      "CS { msg SQ_SGKPREPARE short 0 }\n");
  ASSERT_EQ(initCodeset(d.run(), "ISO-8859-1"), 0);
  d.opt().stmtstats = 1;
  ASSERT_EQ(d.all(), 0);
  setenv("LC_ALL", "C", 1);
  setlocale(LC_ALL, "C");
  const auto& list = d.run().stmts.list;
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].text, "SELECT caf\xc3\xa9 FROM t WHERE a = ?");
  EXPECT_EQ(list[0].id, 5);
  EXPECT_EQ(list[1].text, "");
  EXPECT_EQ(list[1].id, 1000003);
  EXPECT_STREQ(d.run().cmds.entries[0].text, "select caf\xe9 from t where a = 1");
  EXPECT_NE(d.listing().find("CMD.....: \"select caf\xc3\xa9 from t where a = 1\" [31]"),
            std::string::npos)
      << d.listing();
}

TEST(CursorMessages, Fields) {
  check({
      {"CURNAME",
       {},
       "min",
       "CS { msg SQ_CURNAME str \"c1\" }",
       "[CS 6]\n\tSQ_CURNAME\n\t\t \"c1\" [2]\n"},
      {"BIND without values reads no type block",
       {},
       "",
       "CS { msg SQ_BIND short 0 msg SQ_EXECUTE }",
       "[CS 6]\n\tSQ_BIND\n\t\t# values: 0\n\tSQ_EXECUTE\n"},
      {"NFETCH short buffer",
       {},
       "",
       "CS { msg SQ_NFETCH short 4096 }",
       "[CS 4]\n\tSQ_NFETCH\n\t\tTuple buffer size: 4096\n"},
      {"NFETCH bit 21",
       {21},
       "",
       "CS { msg SQ_NFETCH long 70000 }",
       "[CS 6]\n\tSQ_NFETCH\n\t\tTuple buffer size: 70000\n"},
      {"NFETCH bit 56",
       {56},
       "",
       "CS { msg SQ_NFETCH long -70000 }",
       "[CS 6]\n\tSQ_NFETCH\n\t\tTuple buffer size: -70000\n"},
      {"NFETCH bit 14 array",
       {14},
       "",
       "CS { msg SQ_NFETCH short -1 short 10 }",
       "[CS 6]\n\tSQ_NFETCH\n\t\tTuple buffer size: -1\n\t\tFetch Array  size: 10\n"},
      {"NFETCH bit 15 array",
       {15, 21},
       "",
       "CS { msg SQ_NFETCH long 8 short 3 }",
       "[CS 8]\n\tSQ_NFETCH\n\t\tTuple buffer size: 8\n\t\tFetch Array  size: 3\n"},
      {"NFETCH -min",
       {14},
       "min",
       "CS { msg SQ_NFETCH short 1 short 2 msg SQ_CLOSE }",
       "[CS 8]\n\tSQ_NFETCH\n\tSQ_CLOSE\n"},
      {"SFETCH short buffer",
       {},
       "",
       "CS { msg SQ_SFETCH short 6 long -3 short 512 }",
       "[CS 10]\n\tSQ_SFETCH\n\t\tScroll direction: 6\n\t\tOffset..........: -3\n"
       "\t\tFE Buffer size..: 512\n"},
      {"SFETCH bit 56",
       {56},
       "",
       "CS { msg SQ_SFETCH short 1 long 2 long 100000 }",
       "[CS 12]\n\tSQ_SFETCH\n\t\tScroll direction: 1\n\t\tOffset..........: 2\n"
       "\t\tFE Buffer size..: 100000\n"},
      {"SFETCH -min",
       {},
       "min",
       "CS { msg SQ_SFETCH short 1 long 2 short 3 }",
       "[CS 10]\n\tSQ_SFETCH\n"},
      {"RBWORK TUPID COST BBIND",
       {},
       "",
       "CS { msg SQ_RBWORK short 3 msg SQ_TUPID long 77 msg SQ_COST long 10 long -20 "
       "msg SQ_BBIND short 2 }",
       "[CS 24]\n\tSQ_RBWORK\n\t\tSavepoint: 3\n\tSQ_TUPID\n\t\tFirst rowid: 77\n\tSQ_COST\n"
       "\t\testimated #rows: 10\n\t\testimated I/O..: -20\n\tSQ_BBIND\n\t\t#blobs: 2\n"},
      {"the same under -min",
       {},
       "min",
       "CS { msg SQ_RBWORK short 3 msg SQ_TUPID long 77 msg SQ_COST long 10 long -20 "
       "msg SQ_BBIND short 2 }",
       "[CS 24]\n\tSQ_RBWORK\n\tSQ_TUPID\n\tSQ_COST\n\tSQ_BBIND\n"},
      {"FETARRSIZE",
       {},
       "",
       "CS { msg SQ_FETARRSIZE short 50 }",
       "[CS 4]\n\tSQ_FETARRSIZE\n\t\t50\n"},
  });
}

TEST(CursorMessages, SummaryCounters) {
  Decode d(
      "CS { msg SQ_OPEN msg SQ_EXECUTE msg SQ_CLOSE msg SQ_EXSELECT msg SQ_REOPTOPEN msg SQ_OPEN "
      "msg SQ_NFETCH short 1 msg SQ_NFETCH short 1 }\n"
      "CS { msg SQ_NFETCH short 1 msg SQ_FETARRSIZE short 50 msg SQ_FETARRSIZE short 30 }\n");
  ASSERT_EQ(d.all(), 0);
  const SummaryCounters& s = d.run().sum;
  EXPECT_EQ(s.opens, 2);
  EXPECT_EQ(s.executes, 1);
  EXPECT_EQ(s.closes, 1);
  EXPECT_EQ(s.selects, 1);
  EXPECT_EQ(s.reopt, 1);
  EXPECT_EQ(s.prepares, 0);
  // Two fetches travelled with an OPEN; the third came in a packet of its own.
  EXPECT_EQ(s.open_saved, 2);
  EXPECT_EQ(s.opt_stats_ptr, 2);
  EXPECT_EQ(s.fetarr_sum, 80);
}

TEST(Rows, TupleDoneAndPut) {
  const std::string dump5 = kRule + "\nHEX DUMP:\n       0:  61 62 63 64 65" +
                            std::string(36, ' ') + "\tabcde\n" + kRule + "\n";
  check({
      {"TUPLE short length and its pad",
       {},
       "",
       "SC { msg SQ_TUPLE short 0 short 5 text \"abcde\" pad msg SQ_DONE short 1 long 2 long 3 "
       "long 4 }",
       "[SC 28]\n\tSQ_TUPLE\n\t\t# Warnings..: 0\n\t\tTuple length: 5\n\tSQ_DONE\n"
       "\t\tWarning..: 0x1\n\t\t# rows...: 2\n\t\trowid....: 3\n\t\tserial id: 4\n"},
      {"TUPLE -tuple dump",
       {},
       "tuple",
       "SC { msg SQ_TUPLE short 2 short 5 text \"abcde\" pad msg SQ_RELEASE }",
       ("[SC 14]\n\tSQ_TUPLE\n\t\t# Warnings..: 2\n\t\tTuple length: 5\n" + dump5 +
        "\tSQ_RELEASE\n")},
      {"SGKTUPLE bit 5 long length",
       {5},
       "",
       "SC { msg SQ_SGKTUPLE short 0 long 4 long 7 msg SQ_RELEASE }",
       "[SC 14]\n\tSQ_SGKTUPLE\n\t\t# Warnings..: 0\n\t\tTuple length: 4\n\tSQ_RELEASE\n"},
      {"tuple bytes over two packets",
       {},
       "",
       "SC { msg SQ_TUPLE short 0 short 7 text \"abcd\" }\n"
       "SC { text \"efg\" pad msg SQ_DONE short -1 long 0 long 0 long 0 }",
       "[SC 10]\n\tSQ_TUPLE\n\t\t# Warnings..: 0\n\t\tTuple length: 7\n[SC 20]\n\tSQ_DONE\n"
       "\t\tWarning..: 0xffff\n\t\t# rows...: 0\n\t\trowid....: 0\n\t\tserial id: 0\n"},
      {"TUPLE and DONE -min",
       {},
       "min",
       "SC { msg SQ_TUPLE short 0 short 2 short 9 msg SQ_DONE short 1 long 2 long 3 long 4 }",
       "[SC 24]\n\tSQ_TUPLE\n\tSQ_DONE\n"},
      {"PUT: 3 rows of 5 bytes take 18",
       {},
       "",
       "CS { msg SQ_PUT short 5 short 3 zeros 18 msg SQ_RELEASE }",
       "[CS 26]\n\tSQ_PUT\n\t\tSize of data row: 5\n\t\t# rows..........: 3\n\tSQ_RELEASE\n"},
      {"PUT bits 3 and 21",
       {3, 21},
       "",
       "CS { msg SQ_PUT long 2 long 2 text \"abcd\" msg SQ_RELEASE }",
       "[CS 16]\n\tSQ_PUT\n\t\tSize of data row: 2\n\t\t# rows..........: 2\n\tSQ_RELEASE\n"},
      {"PUT -tuple dumps the padded rows",
       {},
       "tuple min",
       "CS { msg SQ_PUT short 1 short 2 text \"a\" pad text \"b\" pad }",
       ("[CS 10]\n\tSQ_PUT\n" + kRule + "\nHEX DUMP:\n       0:  61 00 62 00" +
        std::string(39, ' ') + "\ta.b.\n" + kRule + "\n")},
      {"PUT data over two packets",
       {},
       "",
       "CS { msg SQ_PUT short 4 short 2 zeros 2 }\nCS { zeros 6 msg SQ_EXECUTE }",
       "[CS 8]\n\tSQ_PUT\n\t\tSize of data row: 4\n\t\t# rows..........: 2\n[CS 8]\n"
       "\tSQ_EXECUTE\n"},
  });
}

TEST(Rows, TupleFlagsAndVolumes) {
  Decode d(
      "SC { msg SQ_TUPLE short 0 short 5 text \"abcde\" pad msg SQ_SGKTUPLE short 0 short 2 "
      "short 0 }\n"
      "CS { msg SQ_PUT short 5 short 3 zeros 18 }\n");
  ASSERT_EQ(d.all(), 0);
  const wp::Run& run = d.run();
  EXPECT_EQ(run.dec.direction[14], 1);
  EXPECT_EQ(run.dec.direction[136], 1);
  EXPECT_EQ(run.dec.direction[17], 0);
  EXPECT_EQ(run.sum.fetch_count, 2);
  EXPECT_EQ(run.sum.fetch_bytes, 7);
  EXPECT_EQ(run.sum.put_count, 1);
  EXPECT_EQ(run.sum.put_bytes, 18);
}

// With statement statistics each row of a PUT counts as a message.
TEST(Rows, PutRowsCountAsMessages) {
  struct {
    int stats;
    const char* put;
    int count;
  } cases[] = {
      {1, "short 5 short 3 zeros 18", 3}, {0, "short 5 short 3 zeros 18", 1},
      {1, "short 4 short 1 zeros 4", 1},  {1, "short 4 short 0", 1},
      {1, "short 4 short -2", 1},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.put);
    Decode d(std::string("CS { msg SQ_PUT ") + c.put + " msg SQ_PUT short 0 short 0 }\n");
    d.opt().stmtstats = c.stats;
    ASSERT_EQ(d.all(), 0);
    const Timing& t = d.run().timing;
    ASSERT_EQ(t.g_inopr, 1);
    EXPECT_EQ(t.g_prevs[0].type, 17);
    EXPECT_EQ(t.g_prevs[0].count, c.count + 1);
  }
}

TEST(Errors, ErrAndPutErr) {
  auto err937 = [](int len) {
    return "[SC " + std::to_string(len) +
           "]\n\tSQ_ERR\n\t\tSQL error..........: -937\n\t\tISAM/RSAM error....: 0\n"
           "\t\tOffset in statement: 0\n\t\tError message......: \"\" [0]\n"
           "\t\tSQLSTATE...........: \"IX000\" [5]\n";
  };
  check({
      {"-201 has no SQLSTATE",
       {},
       "",
       "SC { msg SQ_ERR short -201 short -111 short 5 str \"t1\" msg SQ_RELEASE }",
       "[SC 14]\n\tSQ_ERR\n\t\tSQL error..........: -201\n\t\tISAM/RSAM error....: -111\n"
       "\t\tOffset in statement: 5\n\t\tError message......: \"t1\" [2]\n\tSQ_RELEASE\n"},
      {"-937 carries SQLSTATE and MI message",
       {},
       "",
       "SC { msg SQ_ERR short -937 short 0 short 0 short 0 text \"IX000\" pad short 4 "
       "text \"boom\" msg SQ_RELEASE }",
       err937(24) + "\t\tMI error message...: \"boom\" [4]\n\tSQ_RELEASE\n"},
      {"-937 under -min",
       {},
       "min",
       "SC { msg SQ_ERR short -937 short 0 short 0 short 0 text \"IX000\" pad short 4 "
       "text \"boom\" msg SQ_RELEASE }",
       err937(24) + "\tSQ_RELEASE\n"},
      {"0 carries them too; the MI text pads like %*.*s and skips its pad",
       {},
       "",
       "SC { msg SQ_ERR short 0 short 0 short 0 short 0 text \"01000\" pad short 5 "
       "text \"ab\\0de\" pad msg SQ_RELEASE }",
       "[SC 26]\n\tSQ_ERR\n\t\tSQL error..........: 0\n\t\tISAM/RSAM error....: 0\n"
       "\t\tOffset in statement: 0\n\t\tError message......: \"\" [0]\n"
       "\t\tSQLSTATE...........: \"01000\" [5]\n\t\tMI error message...: \"   ab\" [5]\n"
       "\tSQ_RELEASE\n"},
      {"MI text split: printed from this packet only",
       {},
       "",
       "SC { msg SQ_ERR short -937 short 0 short 0 short 0 text \"IX000\" pad short 5 "
       "text \"ab\" }\nSC { text \"cde\" pad msg SQ_RELEASE }",
       (err937(20) + "\t\tMI error message...: \"   ab\" [5]\n[SC 6]\n\tSQ_RELEASE\n")},
      {"bit 57: offset 70000 prints 4464",
       {57},
       "min",
       "SC { msg SQ_ERR short -206 short -111 long 70000 short 0 }",
       "[SC 12]\n\tSQ_ERR\n\t\tSQL error..........: -206\n\t\tISAM/RSAM error....: -111\n"
       "\t\tOffset in statement: 4464\n\t\tError message......: \"\" [0]\n"},
      {"PUTERR -937",
       {57},
       "",
       "SC { msg SQ_PUTERR long 3 short -937 short -100 short 7 str \"x\" text \"23000\" pad "
       "short 2 text \"mi\" }",
       "[SC 26]\n\tSQ_PUTERR\n\t\t# rows inserted......: 3\n\t\tSQL error..........: -937\n"
       "\t\tISQM/RSAM error......: -100\n\t\tOffset into statement: 7\n"
       "\t\tError message......: \"x\" [1]\n\t\tSQLSTATE...........: \"23000\" [5]\n"
       "\t\tMI error message...: \"mi\" [2]\n"},
      {"PUTERR -min keeps all but the MI message",
       {},
       "min",
       "SC { msg SQ_PUTERR long 3 short 0 short 0 short -1 short 0 text \"00000\" pad "
       "short 2 text \"mi\" msg SQ_RELEASE }",
       "[SC 26]\n\tSQ_PUTERR\n\t\t# rows inserted......: 3\n\t\tSQL error..........: 0\n"
       "\t\tISQM/RSAM error......: 0\n\t\tOffset into statement: -1\n"
       "\t\tError message......: \"\" [0]\n\t\tSQLSTATE...........: \"00000\" [5]\n"
       "\tSQ_RELEASE\n"},
  });
}

TEST(Errors, ClearEveryMessageFlag) {
  for (const char* err : {"msg SQ_ERR short -1 short 0 short 0 short 0",
                          "msg SQ_PUTERR long 0 short -1 short 0 short 0 short 0"}) {
    SCOPED_TRACE(err);
    Decode d("SC { msg SQ_TUPLE short 0 short 0 msg SQ_SGKTUPLE short 0 short 0 }\nSC { " +
             std::string(err) + " }\n");
    d.run().dec.direction[100] = 1;  // a toggle of another family
    ASSERT_EQ(d.all(), 0);
    for (int t = 0; t < kNumTypes; ++t) EXPECT_EQ(d.run().dec.direction[t], 0) << t;
  }
}

TEST(InsertDoneAndBlobs, Fields) {
  const std::string zeros16 =
      " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\t................\n";
  check({
      {"INT8 serial",
       {},
       "min",
       "SC { msg SQ_INSERTDONE int8 12345 }",
       "[SC 12]\n\tSQ_INSERTDONE\n\t\t12345\n"},
      {"negative INT8 and bit 49 BIGSERIAL",
       {49},
       "min",
       "SC { msg SQ_INSERTDONE int8 -5 bigint 9000000000 }",
       "[SC 20]\n\tSQ_INSERTDONE\n\t\t-5\n\tBigserial:9000000000\n"},
      {"a NULL INT8 prints an empty line",
       {},
       "",
       "SC { msg SQ_INSERTDONE hex 0000 00000000 00000007 }",
       "[SC 12]\n\tSQ_INSERTDONE\n\t\t\n"},
      {"INT8 split over packets",
       {},
       "",
       "SC { msg SQ_INSERTDONE hex 0001 0000 }\nSC { hex 0000 0000 0005 msg SQ_RELEASE }",
       "[SC 6]\n\tSQ_INSERTDONE\n[SC 8]\n\t\t5\n\tSQ_RELEASE\n"},
      {"FETCHBLOB skipped",
       {},
       "",
       "SC { msg SQ_FETCHBLOB zeros 56 msg SQ_RELEASE }",
       "[SC 60]\n\tSQ_FETCHBLOB\n\tSQ_RELEASE\n"},
      {"FETCHBLOB -blob",
       {},
       "blob",
       "SC { msg SQ_FETCHBLOB zeros 56 }",
       ("[SC 58]\n\tSQ_FETCHBLOB\n" + kRule + "\nHEX DUMP:\n       0: " + zeros16 +
        "    0x10: " + zeros16 + "    0x20: " + zeros16 + "    0x30:  00 00 00 00 00 00 00 00" +
        std::string(27, ' ') + "\t........\n" + kRule + "\n")},
      {"FETCHBLOB over two packets",
       {},
       "",
       "SC { msg SQ_FETCHBLOB zeros 20 }\nSC { zeros 36 msg SQ_RELEASE }",
       "[SC 22]\n\tSQ_FETCHBLOB\n[SC 38]\n\tSQ_RELEASE\n"},
      {"BLOB odd length",
       {},
       "",
       "CS { msg SQ_BLOB short 3 text \"abc\" pad msg SQ_RELEASE }",
       "[CS 10]\n\tSQ_BLOB\n\t\t<3 bytes of BLOB DATA>\n\tSQ_RELEASE\n"},
      {"BLOB -blob -min",
       {},
       "blob min",
       "CS { msg SQ_BLOB short 2 text \"hi\" }",
       ("[CS 6]\n\tSQ_BLOB\n" + kRule + "\nHEX DUMP:\n       0:  68 69" + std::string(45, ' ') +
        "\thi\n" + kRule + "\n")},
      {"BLOB over two packets",
       {},
       "",
       "SC { msg SQ_BLOB short 5 text \"ab\" }\nSC { text \"cde\" pad msg SQ_RELEASE }",
       "[SC 6]\n\tSQ_BLOB\n\t\t<5 bytes of BLOB DATA>\n[SC 6]\n\tSQ_RELEASE\n"},
  });
}

TEST(InsertDoneAndBlobs, BlobVolumesByDirection) {
  Decode d(
      "CS { msg SQ_BLOB short 4 text \"abcd\" msg SQ_BLOB short 0 }\n"
      "SC { msg SQ_BLOB short 6 zeros 6 msg SQ_BLOB short 2 zeros 2 msg SQ_BLOB short 0 }\n");
  ASSERT_EQ(d.all(), 0);
  const SummaryCounters& s = d.run().sum;
  EXPECT_EQ(s.blob_put_count, 1);
  EXPECT_EQ(s.blob_put_bytes, 4);
  EXPECT_EQ(s.blob_fetch_count, 2);
  EXPECT_EQ(s.blob_fetch_bytes, 8);
  EXPECT_NE(d.listing().find("\t\t<0 bytes of BLOB DATA>\n"), std::string::npos);
}

}  // namespace
}  // namespace wp
