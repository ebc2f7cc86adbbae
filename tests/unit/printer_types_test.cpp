// Collection and row values, extended type description blocks and the
// trailer of types that are not supported built-ins.
#include <gtest/gtest.h>

#include <string>

#include "driver/cursor.h"
#include "harness.h"
#include "tracec.h"
#include "values/valueprinter.h"

namespace wp {
namespace {

using test::Harness;

const std::string kRule(80, '=');
constexpr int kMarker = 0x7777;

std::string body(Harness& h) {
  std::string s = h.listing();
  size_t at = s.find("\t\t\t\n");
  return at == std::string::npos ? s : s.substr(at + 4);
}

// Bytes a tracec item list compiles to.
int size(const std::string& items) {
  tracec::Result r = tracec::compile(items);
  EXPECT_TRUE(r.ok()) << r.error;
  return static_cast<int>(r.bytes.size());
}

// A collection value after its indicator and precision: total length,
// header, data.
std::string collection(const std::string& header, const std::string& data) {
  return "long " + std::to_string(size(header) + size(data)) + " " + header + " " + data;
}

// One type information row (24 bytes plus its names).
const std::string kRow =
    "short 1 short 0 short -1 str \"f\" short 1 short 2 short 4 short 7 str \"\" str \"ow\" "
    "short 4 short 0";
const std::string kRowLines =
    "\t\t\t    Type info 0)\n\t\t\t\tSequence #.: 1\n\t\t\t\tLevel #....: 0\n"
    "\t\t\t\tParent #...: -1\n\t\t\t\tField name.: \"f\" [1]\n\t\t\t\tField #....: 1\n"
    "\t\t\t\tType #....: INT; NULLABLE\n\n\t\t\t\tLength #...: 4 (0x4)\n"
    "\t\t\t\tExtend ID..: 7\n\t\t\t\tFlags......: 7\n\t\t\t\tXType name.: \"\" [0]\n"
    "\t\t\t\tXType owner: \"ow\" [2]\n\t\t\t\talignment..: 4\n\t\t\t\tsource type: 0\n";

const std::string kFirstType = "short 3 short 25 text \"abc\" pad short 1 " + kRow;
const std::string kFirstLines =
    "\t\t\tType length: 3\n\t\t\tType id....: 25\n\t\t\tType name..: \"abc\" [3]\n"
    "\t\t\t# of type info rows..: 1\n" +
    kRowLines;
const std::string kSecondType = "short 2 short 26 text \"xy\" short 0";
const std::string kSecondLines =
    "\t\t\tType length: 2\n\t\t\tType id....: 26\n\t\t\tType name..: \"xy\" [2]\n"
    "\t\t\t# of type info rows..: 0\n";
const std::string kData = "hex deadbeef";
const std::string kDataDump = kRule + "\nHEX DUMP:\n       0:  de ad be ef" +
                              std::string(13 * 3, ' ') + "\t....\n" + kRule + "\n";

std::string setHead(int total) {
  return "\t\t\t0) Type.....: SQLSET; NULLABLE\n\t\t\tIndicator: NOT NULL\n"
         "\t\t\tPrecision: 0x0\n\t\t\tData.....: \n\t\t\tData length: " +
         std::to_string(total) + "\n";
}

struct Printed {
  std::string listing;
  int32_t left;
  int next;  // the short after the values, -1 when nothing was left
};

Printed print(const std::string& values, int count, void (*setup)(wp::Run&) = nullptr) {
  Harness h("CS { " + values + " short " + std::to_string(kMarker) + " }\n");
  EXPECT_TRUE(h.header());
  EXPECT_EQ(h.next(), 0);
  if (setup) setup(h.run());
  Cursor cur(h.run());
  testing::internal::CaptureStdout();
  printvalues(cur, count);
  testing::internal::GetCapturedStdout();
  int32_t left = cur.left;
  int next = left >= 2 ? cur.i16() : -1;
  return {body(h), left, next};
}

TEST(PrinterCollection, OneTypeWithARow) {
  std::string header = "short 7 short 4 short 1 " + kFirstType;
  Printed p = print("short 19 short 0 short 0 " + collection(header, kData), 1);
  int total = size(header) + 4;
  EXPECT_EQ(p.listing, setHead(total) +
                           "\t\t\tHandle.....: 7\n\t\t\tData length: 4\n\t\t\tFlags......: 1\n" +
                           kFirstLines + kDataDump);
  EXPECT_EQ(p.left, 2);
  EXPECT_EQ(p.next, kMarker);
}

// A value sent to the server is described by the second type; a fetched row
// (its message's flag set) by the first.
TEST(PrinterCollection, SecondTypeUnlessFetched) {
  std::string header = "short 7 short 4 short 0 " + kFirstType + " " + kSecondType;
  std::string values = "short 19 short 0 short 0 " + collection(header, kData);
  std::string fixed = "\t\t\tHandle.....: 7\n\t\t\tData length: 4\n\t\t\tFlags......: 0\n";
  int total = size(header) + 4;

  Printed sent = print(values, 1, [](wp::Run& run) { run.dec.msgtype = 5; });
  EXPECT_EQ(sent.listing, setHead(total) + fixed + kSecondLines + kDataDump);
  EXPECT_EQ(sent.next, kMarker);

  Printed fetched = print(values, 1, [](wp::Run& run) {
    run.dec.msgtype = 14;
    run.dec.setReply(14, true);
  });
  EXPECT_EQ(fetched.listing, setHead(total) + fixed + kFirstLines + kDataDump);
  EXPECT_EQ(fetched.next, kMarker);
}

TEST(PrinterCollection, ClientCollectionBitAndRowSendrecv) {
  std::string value = collection("short 1 short 4 short 0 " + kSecondType, kData);
  Printed client = print("short 0x8002 short 0 short 0 " + value, 1);
  EXPECT_NE(client.listing.find("INT; NULLABLE, CLIENT COLLECTION\n"), std::string::npos);
  EXPECT_NE(client.listing.find("\t\t\tHandle.....: 1\n"), std::string::npos) << client.listing;
  EXPECT_EQ(client.next, kMarker);

  // "row (" after blanks names a row type; the name's bytes alone decide.
  Printed row = print("short 44 short 0 str \" row (a int)\" short 0 short 0 " + value, 1,
                      [](wp::Run& run) { run.caps.protocolver.b[0] = 0x20; });
  EXPECT_NE(row.listing.find("\t\t\tHandle.....: 1\n"), std::string::npos) << row.listing;
  EXPECT_EQ(row.next, kMarker);
  Printed notRow = print("short 44 short 0 str \"row\" short 0 short 0 long 0", 1,
                         [](wp::Run& run) { run.caps.protocolver.b[0] = 0x20; });
  EXPECT_EQ(notRow.listing.find("Handle"), std::string::npos) << notRow.listing;
  EXPECT_EQ(notRow.next, kMarker);
}

TEST(PrinterCollection, MinShowsOnlyTheData) {
  std::string header = "short 7 short 4 short 1 " + kFirstType;
  Printed p = print("short 19 short 0 short 0 " + collection(header, kData), 1,
                    [](wp::Run& run) { run.opt.min = 1; });
  EXPECT_EQ(p.listing,
            "\t\t\tIndicator: NOT NULL\n\t\t\tPrecision: 0x0\n\t\t\tData.....: \n" + kDataDump);
  EXPECT_EQ(p.next, kMarker);
}

// The value ends where its total length says, also after odd data, and the
// total may begin the next packet.
TEST(PrinterCollection, EndsAtItsTotalLength) {
  std::string header = "short 1 short 3 short 0 " + kSecondType;
  Printed odd = print("short 21 short 0 short 0 " + collection(header, "hex 010203"), 1);
  EXPECT_EQ(odd.left, 2);
  EXPECT_EQ(odd.next, kMarker);

  std::string value = collection("short 1 short 4 short 0 " + kSecondType, kData);
  size_t split = value.find(' ', value.find(' ') + 1);  // after the total
  Harness h("CS { short 22 short 0 short 0 " + value.substr(0, split) + " }\nSC { " +
            value.substr(split) + " short 30583 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor cur(h.run());
  printvalues(cur, 1);
  EXPECT_NE(h.listing().find("\t\t\tHandle.....: 1\n"), std::string::npos);
  ASSERT_EQ(cur.left, 2);
  EXPECT_EQ(cur.i16(), kMarker);
}

// Counts and lengths that do not fit the value are reported; the rest of the
// packet is dropped and no further value is read.
struct HostileCase {
  const char* name;
  std::string value;  // after the indicator and precision
  std::string error;
};

void PrintTo(const HostileCase& c, std::ostream* os) {
  *os << c.name;
}

const HostileCase kHostile[] = {
    {"TotalBeyondPacket", "long 4000 short 1 short 0 short 0",
     "\nERROR: Collection value of 4000 bytes does not fit the 16 bytes left in the packet.  "
     "Reset message to skip forward to next packet!\n"},
    {"NegativeTotal", "long -2 short 1",
     "\nERROR: Collection value of -2 bytes does not fit the 12 bytes left in the packet.  "
     "Reset message to skip forward to next packet!\n"},
    {"HugeRowCount", "long 16 short 1 short 0 short 0 short 0 short 0 short 32000 short 1 short 2",
     "\nERROR: Collection header runs past its 16 bytes at the parent.  Reset message to skip "
     "forward to next packet!\n"},
    {"DataLongerThanValue", "long 10 short 1 short 9 short 0 short 0 short 0",
     "\nERROR: Collection header runs past its 10 bytes at the data length.  Reset message to "
     "skip forward to next packet!\n"},
    {"NegativeDataLength", "long 10 short 1 short -4 short 0 short 0 short 0",
     "\nERROR: Collection header runs past its 10 bytes at the data length.  Reset message to "
     "skip forward to next packet!\n"},
    {"NegativeNameLength", "long 12 short 1 short 0 short 0 short -3 short 0 short 0",
     "\nERROR: Collection header runs past its 12 bytes at the type name.  Reset message to skip "
     "forward to next packet!\n"},
    {"NameBeyondHeader", "long 14 short 1 short 2 short 0 short 9 short 0 hex 4142",
     "\nERROR: Collection header runs past its 14 bytes at the type name.  Reset message to skip "
     "forward to next packet!\n"},
    {"NegativeRowCount", "long 14 short 1 short 0 short 0 short 0 short 0 short -1 short 0",
     "\nERROR: Collection header runs past its 14 bytes at the type info rows.  Reset message to "
     "skip forward to next packet!\n"},
    {"ShortHeader", "long 2 short 1",
     "\nERROR: Collection header runs past its 2 bytes at the data length.  Reset message to skip "
     "forward to next packet!\n"},
};

class Hostile : public ::testing::TestWithParam<HostileCase> {};

TEST_P(Hostile, ReportedAndDropped) {
  const HostileCase& c = GetParam();
  // The marker is the last short of the packet, so "bytes left" counts it.
  Printed p = print("short 20 short 0 short 0 " + c.value + " short 1 short 0 short 0 short 5", 2);
  EXPECT_EQ(p.listing,
            "\t\t\t0) Type.....: SQLMULTISET; NULLABLE\n\t\t\tIndicator: NOT NULL\n"
            "\t\t\tPrecision: 0x0\n\t\t\tData.....: \n\t\t\tData length: " +
                c.value.substr(5, c.value.find(' ', 5) - 5) + "\n" + c.error);
  EXPECT_EQ(p.left, 0);
}

INSTANTIATE_TEST_SUITE_P(Printer, Hostile, ::testing::ValuesIn(kHostile),
                         [](const auto& info) { return std::string(info.param.name); });

// Extended type description blocks.
struct XtdCase {
  const char* name;
  std::string block;
  bool min;
  std::string listing;
};

void PrintTo(const XtdCase& c, std::ostream* os) {
  *os << c.name;
}

const std::string kSetType =
    "long 70000 short 19 str \"app\" short 0 long 0x12345 long 0x80000000 text \"BC\" "
    "short -1 short 8 short 0 short 0 short 0 short 2 long 4 long 0";
const std::string kSetLines =
    "\t\t\t 1) ddxt_xid...: 4464\n\t\t\t\tddxt_type..: SQLSET; NULLABLE\n"
    "\t\t\t\tType owner.: \"app\" [3]\n\t\t\t\tType name..: \"\" [0]\n"
    "\t\t\t\tddxt_len...: 9029 (0x12345)\n\t\t\t\tddxt_maxlen: \n\t\t\t\tddxt_mode..: B\n"
    "\t\t\t\tddxt_domain: C\n\t\t\t\tddxt_flags.: -1 (0xffffffff)\n\t\t\t\tddxt_align.: 8\n"
    "\t\t\t\tddxt_precis: 0\n\t\t\t\tddxt_scale.: 0\n\t\t\t\tNamed RT...: 0\n"
    "\t\t\t\tNo. Childs.: 1\n\t\t\t\t 1) Child....\n\t\t\t\tType....: INT; NULLABLE\n"
    "\t\t\t\t\tddc_len.: 4 (0x4)\n\t\t\t\t\tddc_xid.: 0\n\n";

const XtdCase kXtd[] = {
    {"Empty", "long 0", false, "\t\t\tCount of xtd types..: 0\n\n"},
    {"SetHasOneChildWithoutCount", "long 1 " + kSetType, false,
     "\t\t\tCount of xtd types..: 1\n" + kSetLines + "\n"},
    {"NamedRowWithChildren",
     "long 1 long 3 short 0x1016 short 0 str \"r\" long 8 long 8 text \"AB\" short 0 short 4 "
     "short 0 short 0 short 1 str \"person\" long 2 short 2 long 4 long 0 short 0x100 long 4 "
     "long 77",
     false,
     "\t\t\tCount of xtd types..: 1\n\t\t\t 1) ddxt_xid...: 3\n"
     "\t\t\t\tddxt_type..: SQLROW; NULLABLE, NAMED, CONSTRUCTOR\n"
     "\t\t\t\tType owner.: \"\" [0]\n\t\t\t\tType name..: \"r\" [1]\n"
     "\t\t\t\tddxt_len...: 8 (0x8)\n\t\t\t\tddxt_maxlen: 8 (0x8)\n\t\t\t\tddxt_mode..: A\n"
     "\t\t\t\tddxt_domain: B\n\t\t\t\tddxt_flags.: 0 (0x0)\n\t\t\t\tddxt_align.: 4\n"
     "\t\t\t\tddxt_precis: 0\n\t\t\t\tddxt_scale.: 0\n\t\t\t\tNamed RT...: 1\n"
     "\t\t\t\tName of RT.: \"person\" [6]\n\t\t\t\tNo. Childs.: 2\n"
     "\t\t\t\t 1) Child....\n\t\t\t\tType....: INT; NULLABLE\n"
     "\t\t\t\t\tddc_len.: 4 (0x4)\n\t\t\t\t\tddc_xid.: 0\n"
     "\t\t\t\t 2) Child....\n\t\t\t\tType....: CHAR; NOT NULLABLE\n"
     "\t\t\t\t\tddc_len.: 4 (0x4)\n\t\t\t\t\tddc_xid.: 77\n\n\n"},
    {"DistinctHasSourceAndNoChildren",
     "long 1 long 5 short 0x805 short 0 short 0 long 9 long 9 text \"ab\" short 0 short 0 "
     "short 16 short 2 short 0 long 65541",
     false,
     "\t\t\tCount of xtd types..: 1\n\t\t\t 1) ddxt_xid...: 5\n"
     "\t\t\t\tddxt_type..: DECIMAL; NULLABLE, DISTINCT\n"
     "\t\t\t\tType owner.: \"\" [0]\n\t\t\t\tType name..: \"\" [0]\n"
     "\t\t\t\tddxt_len...: 9 (0x9)\n\t\t\t\tddxt_maxlen: 9 (0x9)\n\t\t\t\tddxt_mode..: a\n"
     "\t\t\t\tddxt_domain: b\n\t\t\t\tddxt_flags.: 0 (0x0)\n\t\t\t\tddxt_align.: 0\n"
     "\t\t\t\tddxt_precis: 16\n\t\t\t\tddxt_scale.: 2\n\t\t\t\tNamed RT...: 0\n"
     "\t\t\t\tddxt_source: 5\n\n\n"},
    {"MinPrintsNothing", "long 2 " + kSetType + " " + kSetType, true, ""},
};

class XtdTypes : public ::testing::TestWithParam<XtdCase> {};

TEST_P(XtdTypes, PrintAndConsume) {
  const XtdCase& c = GetParam();
  Harness h("CS { " + c.block + " short 30583 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  h.run().caps.sub_sprotocolver.b[6] = 0x04;
  h.run().opt.min = c.min;
  Cursor cur(h.run());
  printextdtypeinfo(cur, 0);
  EXPECT_EQ(body(h), c.listing);
  ASSERT_EQ(cur.left, 2);
  EXPECT_EQ(cur.i16(), kMarker);
}

INSTANTIATE_TEST_SUITE_P(Printer, XtdTypes, ::testing::ValuesIn(kXtd),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(PrinterXtdTypes, NothingWithoutTheCapability) {
  Harness h("CS { long 1 short 30583 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  h.run().caps.sub_sprotocolver.b[6] = 0xfb;  // every bit but the announcement
  h.run().caps.protocolver.b[6] = 0x04;       // the set in force does not count
  Cursor cur(h.run());
  printextdtypeinfo(cur, 0);
  printnonbuiltininfo(cur, 0x805, "\t\t");
  EXPECT_EQ(body(h), "");
  EXPECT_EQ(cur.left, 6);
}

TEST(PrinterNonBuiltin, TrailerOnlyForUnsupportedOrDistinct) {
  Harness h(
      "CS { long 5 str \"app\" short 0 long 6 short 0 str \"point\" long 70000 short 0 short 0 "
      "short 30583 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  h.run().caps.sub_sprotocolver.b[6] = 0x04;
  Cursor cur(h.run());
  printnonbuiltininfo(cur, 0x102, "\t\t");  // supported built-in: nothing read
  printnonbuiltininfo(cur, 0x802, "\t\t");
  printnonbuiltininfo(cur, 40, "\t\t\t");
  printnonbuiltininfo(cur, 0x52, "\t");  // 82 is no built-in code
  EXPECT_EQ(body(h),
            "\t\tType xid.........: 5\n\t\t\tType owner.......: \"app\" [3]\n"
            "\t\t\tType xid.........: 6\n\t\t\tType name........: \"point\" [5]\n"
            "\tType xid.........: 4464\n");
  ASSERT_EQ(cur.left, 2);
  EXPECT_EQ(cur.i16(), kMarker);
}

}  // namespace
}  // namespace wp
