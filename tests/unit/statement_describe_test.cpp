// Column descriptions: both layouts, the widths chosen per packet, the
// extended block, names across packets and the statement id handover.
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
using test::setBits;

// Header: select, server id 3, cost 5, tuple 12, then the column count and the
// string-table size as given.
const std::string kHead = "msg SQ_DESCRIBE short 2 short 3 long 5 short 12 ";
const std::string kHeadLines =
    "\t\tStmt Type...........: 2\n\t\tServer Stmt Id......: 3\n\t\tEstimated Cost......: 5\n"
    "\t\tSize of output tuple: 12\n";

// New layout, bits 5 and 54: an INT column (no block) and a DISTINCT INT.
const std::string kTwoColumns =
    kHead + "short 2 short 10 " +
    "short 0 long 0 short 0x0102 long 4 "
    "short 3 long 4 short 0x0802 long 300 str \"alice\" str \"euro\" short 0 short 4 long 2 "
    "long 8 "
    "cstr \"id\" cstr \"amount\"";
const std::string kTwoColumnsLines =
    "\t\t0) Field 'id'\n\t\t\tIndex into string table: 0\n\t\t\tStarting offset in tuple: 0\n"
    "\t\t\tType....................: INT; NOT NULLABLE\n\t\t\tLength : 4 (0x4)\n"
    "\t\t1) Field 'amount'\n\t\t\tIndex into string table: 3\n\t\t\tStarting offset in tuple: 4\n"
    "\t\t\tType....................: INT; NULLABLE, DISTINCT\n"
    "\n\t\t\tExtended ID: 300\n\t\t\tOwner Name Length: 5\n\t\t\tOwner Name: alice\n"
    "\t\t\tExtended Type Name Length: 4\n\t\t\tExtended Type Name: euro\n"
    "\t\t\tPass By Reference Flag: 0\n\t\t\tAlignment: 4\n"
    "\t\t\tSource Type for Distinct Type: 2\n\t\t\tLength : 8 (0x8)\n";

// Old layout: four shorts a column, then the names.
const std::string kOldColumns = kHead + "short 2 short 4 " +
                                "short 0 short 0 short 0x0102 short 4 "
                                "short 0xffff short 4 short 0 short -1 "
                                "cstr \"a\" cstr \"b\"";
// The names are not consumed: the dispatcher meets "a\0" as a message type.
const std::string kOldTail =
    "\nERROR: Invalid msg type: 24832 (0x6100).  Reset Message to skip forward to next packet!\n";

struct Case {
  const char* what;
  std::vector<int> bits;  // protocolver
  bool min;
  std::string records;
  std::string listing;
  int status = 0;
};

void check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Decode d(c.records);
    for (int bit : c.bits) setBits(d.caps().protocolver, {bit});
    d.opt().min = c.min;
    EXPECT_EQ(d.all(), c.status);
    EXPECT_EQ(d.listing(), c.listing);
  }
}

TEST(Describe, Layouts) {
  check({
      {"no columns: the header only",
       {5},
       false,
       "SC { msg SQ_DESCRIBE short 2 short 7 long 10 short 0 short 0 short 0 msg SQ_DONE short 0 "
       "long 0 long 0 long 0 }",
       "[SC 32]\n\tSQ_DESCRIBE\n\t\tStmt Type...........: 2\n\t\tServer Stmt Id......: 7\n"
       "\t\tEstimated Cost......: 10\n\t\tSize of output tuple: 0\n"
       "\t\t# output fields.....: 0\n\t\tSize of string table: 0\n\tSQ_DONE\n"
       "\t\tWarning..: 0x0\n\t\t# rows...: 0\n\t\trowid....: 0\n\t\tserial id: 0\n"},
      {"no columns, old layout, -min",
       {},
       true,
       "SC { msg SQ_SGKDESCRIBE short 2 short -7 long 10 short 0 short 0 short 0 }",
       "[SC 16]\n\tSQ_SGKDESCRIBE\n\t\tServer Stmt Id......: -7\n"},
      {"new layout: bit 54 drops the block of built-in types",
       {5, 54},
       false,
       "SC { " + kTwoColumns + " msg SQ_RELEASE }",
       "[SC 78]\n\tSQ_DESCRIBE\n" + kHeadLines +
           "\t\t# output fields.....: 2\n\t\tSize of string table: 10\n" + kTwoColumnsLines +
           "\tSQ_RELEASE\n"},
      {"new layout under -min: the id only",
       {5, 54},
       true,
       "SC { " + kTwoColumns + " }",
       "[SC 76]\n\tSQ_DESCRIBE\n\t\tServer Stmt Id......: 3\n"},
      {"without bit 54 an INT column has the block",
       {5},
       false,
       "SC { " + kHead +
           "short 1 short 2 short -1 long 0 short 2 long 0 short 0 short 0 short 0 short 0 long 0 "
           "long 4 cstr \"\" pad msg SQ_RELEASE }",
       "[SC 48]\n\tSQ_DESCRIBE\n" + kHeadLines +
           "\t\t# output fields.....: 1\n\t\tSize of string table: 2\n"
           "\t\t0) Field ''\n\t\t\tIndex into string table: -1\n"
           "\t\t\tStarting offset in tuple: 0\n\t\t\tType....................: INT; NULLABLE\n"
           "\n\t\t\tExtended ID: 0\n\t\t\tOwner Name Length: 0\n"
           "\t\t\tExtended Type Name Length: 0\n\t\t\tPass By Reference Flag: 0\n"
           "\t\t\tAlignment: 0\n\t\t\tSource Type for Distinct Type: 0\n"
           "\t\t\tLength : 4 (0x4)\n\tSQ_RELEASE\n"},
      {"bit 53: long string-table size and index",
       {5, 53, 54},
       false,
       "SC { " + kHead +
           "short 1 long 0x80000001 long -2 long 0 short 0x0034 long 8 cstr \"big\" }",
       "[SC 36]\n\tSQ_DESCRIBE\n" + kHeadLines +
           "\t\t# output fields.....: 1\n\t\tSize of string table: 2147483649\n"
           "\t\t0) Field 'big'\n\t\t\tIndex into string table: -2\n"
           "\t\t\tStarting offset in tuple: 0\n\t\t\tType....................: BIGINT; NULLABLE\n"
           "\t\t\tLength : 8 (0x8)\n"},
      {"old layout counts from 1 and reads the names in place",
       {},
       false,
       "SC { " + kOldColumns + " }",
       "[SC 36]\n\tSQ_DESCRIBE\n" + kHeadLines +
           "\t\t# output fields.....: 2\n\t\tSize of string table: 4\n"
           "\t\t1) Field 'a'\n\t\t\tIndex into string table.: 0\n"
           "\t\t\tStarting offset in tuple: 0\n\t\t\tType....................: INT; NOT NULLABLE\n"
           "\n\t\t\tLength..................: 4 (0x4)\n\n"
           "\t\t2) Field 'b'\n\t\t\tIndex into string table.: 65535\n"
           "\t\t\tStarting offset in tuple: 4\n\t\t\tType....................: CHAR; NULLABLE\n"
           "\n\t\t\tLength..................: -1 (0xffffffff)\n" +
           kOldTail},
      {"old layout under -min keeps the blank line",
       {},
       true,
       "SC { " + kOldColumns + " }",
       "[SC 36]\n\tSQ_DESCRIBE\n\t\tServer Stmt Id......: 3\n\n" + kOldTail},
  });
}

TEST(Describe, FieldsFollowedIntoFurtherPackets) {
  // The second descriptor straddles the first join, the second name the next.
  check({{"new layout",
          {5, 54},
          false,
          "SC { " + kHead +
              "short 2 short 10 short 0 long 0 short 0x0102 long 4 short 3 long 4 short 0x0102 }\n"
              "SC { long 8 cstr \"id\" text \"amo\" }\n"
              "SC { cstr \"unt\" msg SQ_RELEASE }",
          "[SC 36]\n\tSQ_DESCRIBE\n" + kHeadLines +
              "\t\t# output fields.....: 2\n\t\tSize of string table: 10\n[SC 10]\n"
              "\t\t0) Field 'id'\n\t\t\tIndex into string table: 0\n"
              "\t\t\tStarting offset in tuple: 0\n"
              "\t\t\tType....................: INT; NOT NULLABLE\n\t\t\tLength : 4 (0x4)\n"
              "[SC 6]\n"
              "\t\t1) Field 'amount'\n\t\t\tIndex into string table: 3\n"
              "\t\t\tStarting offset in tuple: 4\n"
              "\t\t\tType....................: INT; NOT NULLABLE\n\t\t\tLength : 8 (0x8)\n"
              "\tSQ_RELEASE\n"}});
}

TEST(Describe, WidthsFollowSubProtocolInDprepare) {
  // The same describe bytes, in a packet that begins with DPREPARE, are read
  // by sub_sprotocolver: new layout there, old in protocolver.
  const std::string records =
      "CS { msg SQ_DPREPARE short 0 str \"select id from t\" " + kHead +
      "short 1 short 3 short 0 long 0 short 0x0102 long 4 cstr \"id\" pad msg SQ_RELEASE }\n";
  Decode d(records);
  setBits(d.caps().sub_sprotocolver, {5, 54});
  ASSERT_EQ(d.all(), 0);
  EXPECT_EQ(d.listing(),
            "[CS 56]\n\tSQ_DPREPARE\n\t\t# values: 0\n\t\tCMD.....: \"select id from t\" [16]\n"
            "\tSQ_DESCRIBE\n" +
                kHeadLines +
                "\t\t# output fields.....: 1\n\t\tSize of string table: 3\n"
                "\t\t0) Field 'id'\n\t\t\tIndex into string table: 0\n"
                "\t\t\tStarting offset in tuple: 0\n"
                "\t\t\tType....................: INT; NOT NULLABLE\n\t\t\tLength : 4 (0x4)\n"
                "\tSQ_RELEASE\n");

  // Outside such a packet protocolver decides: without bit 5 the old layout
  // reads four shorts and stops before the names.
  Decode plain("CS { " + kHead + "short 1 short 3 short 0 short 0 short 0x0102 short 4 }\n");
  setBits(plain.caps().sub_sprotocolver, {5, 54});
  ASSERT_EQ(plain.all(), 0);
  EXPECT_NE(plain.listing().find("\t\t1) Field ''\n"), std::string::npos);
}

TEST(Describe, ServerIdReplacesTheProvisionalOne) {
  for (int stats : {0, 1}) {
    SCOPED_TRACE(stats);
    Decode d("CS { msg SQ_PREPARE short 0 str \"select 1\" }\nSC { " + kHead +
             "short 0 short 0 }\n");
    d.opt().stmtstats = stats;
    ASSERT_TRUE(d.packet());
    EXPECT_EQ(d.run().thr.cur->stmtid, stats ? 1000001 : 0);
    ASSERT_TRUE(d.packet());
    EXPECT_EQ(d.run().thr.cur->stmtid, 3);
  }
}

TEST(Describe, WildColumnCounts) {
  // A count far beyond the bytes present reads to the end of the trace and
  // stops there; a negative count describes nothing.
  Decode big("SC { " + kHead + "short 32767 short 0 short 0 long 0 short 2 long 4 }\n");
  setBits(big.caps().protocolver, {5, 54});
  EXPECT_EQ(big.all(), 1);
  Decode old("SC { " + kHead + "short 32767 short 0 short 0 short 0 short 2 short 4 }\n");
  EXPECT_EQ(old.all(), 1);
  Decode negative("SC { " + kHead + "short -3 short 0 msg SQ_RELEASE }\n");
  setBits(negative.caps().protocolver, {5});
  EXPECT_EQ(negative.all(), 0);
  EXPECT_EQ(negative.listing(), "[SC 18]\n\tSQ_DESCRIBE\n" + kHeadLines +
                                    "\t\t# output fields.....: -3\n"
                                    "\t\tSize of string table: 0\n\tSQ_RELEASE\n");
}

// Field names go through the conversion of names shown from descriptions;
// one that does not convert, or -nocsc, prints its bytes as they came.
TEST(Describe, FieldNamesConverted) {
  const std::string records = "SC { " + kHead +
                              "short 2 short 10 short 0 long 0 short 2 long 4 "
                              "short 0 long 4 short 2 long 4 "
                              "cstr \"\\xc3\\xa9t\\xc3\\xa9\" cstr \"\\xff\" }\n";
  setenv("LC_ALL", "C.UTF-8", 1);
  for (int needcsc : {1, 0}) {
    SCOPED_TRACE(needcsc);
    Decode d(records);
    setBits(d.caps().protocolver, {5, 54});
    ASSERT_EQ(initCodeset(d.run(), "ISO-8859-1"), 0);
    d.opt().needcsc = needcsc;
    ASSERT_EQ(d.all(), 0);
    std::string l = d.listing();
    EXPECT_NE(l.find(needcsc ? "\t\t0) Field '\xe9t\xe9'\n" : "\t\t0) Field '\xc3\xa9t\xc3\xa9'\n"),
              std::string::npos)
        << l;
    EXPECT_NE(l.find("\t\t1) Field '\xff'\n"), std::string::npos) << l;
  }
  setenv("LC_ALL", "C", 1);
  setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace wp
