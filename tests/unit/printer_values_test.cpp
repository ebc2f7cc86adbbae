// Typed values: every data type's wire form, NULL indicators, extended type
// names, pad bytes and values split across packets.
#include <gtest/gtest.h>

#include <string>

#include "driver/cursor.h"
#include "harness.h"
#include "values/valueprinter.h"

namespace wp {
namespace {

using test::Harness;

const std::string kRule(80, '=');
constexpr int kMarker = 0x7777;

// The listing after the first packet's header line.
std::string body(Harness& h) {
  std::string s = h.listing();
  size_t at = s.find("\t\t\t\n");
  return at == std::string::npos ? s : s.substr(at + 4);
}

struct Opts {
  int transFloat = 0;
  bool ext = false;  // the session announced extended type names
  bool min = false;
  bool blob = false;
  bool udt = false;
  bool isprint = false;
};

struct ValueCase {
  const char* name;
  std::string data;  // the values; the packet goes on with a marker short
  int count;
  Opts opts;
  std::string listing;
};

std::string head(int i, const std::string& type) {
  return "\t\t\t" + std::to_string(i) + ") Type.....: " + type + "\n";
}
std::string notNull(const std::string& prec = "0x0") {
  return "\t\t\tIndicator: NOT NULL\n\t\t\tPrecision: " + prec + "\n\t\t\tData.....: ";
}

const ValueCase kCases[] = {
    {"Smallint",
     "short 1 short 0 short 0 short -7",
     1,
     {},
     head(0, "SMALLINT; NULLABLE") + notNull() + "-7\n"},
    {"IntMinimum",
     "short 0x102 short 0 short 10 long -2147483648",
     1,
     {},
     head(0, "INT; NOT NULLABLE") + notNull("0xa") + "-2147483648\n"},
    {"Serial",
     "short 6 short 0 short 0 long 123456",
     1,
     {},
     head(0, "SERIAL; NULLABLE") + notNull() + "123456\n"},
    {"FloatBigEndian",
     "short 3 short 0 short 0 double 1.5",
     1,
     {.transFloat = 1},
     head(0, "FLOAT; NULLABLE") + notNull() + "1.5\n"},
    {"FloatNative",
     "short 3 short 0 short 0 double-le -2.25",
     1,
     {.transFloat = 0},
     head(0, "FLOAT; NULLABLE") + notNull() + "-2.25\n"},
    {"SmallfloatBigEndian",
     "short 4 short 0 short 0 float 0.5",
     1,
     {.transFloat = 1},
     head(0, "SMALLFLOAT; NULLABLE") + notNull() + "0.5\n"},
    {"SmallfloatNative",
     "short 4 short 0 short 0 float-le 3",
     1,
     {.transFloat = 0},
     head(0, "SMALLFLOAT; NULLABLE") + notNull() + "3\n"},
    {"NullIndicator",
     "short 2 short -1 short -1",
     1,
     {},
     head(0, "INT; NULLABLE") + "\t\t\tIndicator: NULL\n\t\t\tPrecision: 0xffffffff\n"},
    {"Char",
     "short 0 short 0 short 4 str \"hi  \"",
     1,
     {},
     head(0, "CHAR; NULLABLE") + notNull("0x4") + "\"hi  \" [4]\n"},
    {"NcharOddWithPad",
     "short 15 short 0 short 0 str \"abcde\"",
     1,
     {},
     head(0, "NCHAR; NULLABLE") + notNull() + "\"abcde\" [5]\n"},
    {"NvcharEmpty",
     "short 16 short 0 short 0 short 0",
     1,
     {},
     head(0, "NVCHAR; NULLABLE") + notNull() + "\"\" [0]\n"},
    {"Decimal",
     "short 5 short 0 short 0x0402 short 3 hex c10c22 pad",
     1,
     {},
     head(0, "DECIMAL; NULLABLE") + notNull("0x402") + "12.34\n"},
    {"DecimalNegative",
     "short 5 short 0 short 0 short 3 hex 3e5742 pad",
     1,
     {},
     head(0, "DECIMAL; NULLABLE") + notNull() + "-12.34\n"},
    {"MoneyKeepsTrailingZeros",
     "short 8 short 0 short 0 short 4 hex c10c1e00",
     1,
     {},
     head(0, "MONEY; NULLABLE") + notNull() + "12.3000\n"},
    {"DecimalNullForm",
     "short 5 short 0 short 0 short 2 hex 0000",
     1,
     {},
     head(0, "DECIMAL; NULLABLE") + notNull() + "\n"},
    {"DatetimeDigits",
     "short 10 short 0 short 0 short 5 hex c414170b0e pad",
     1,
     {},
     head(0, "DATETIME; NULLABLE") + notNull() + "20231114\n"},
    {"IntervalOneDigit",
     "short 14 short 0 short 0 short 2 hex c105",
     1,
     {},
     head(0, "INTERVAL; NULLABLE") + notNull() + "5\n"},
    // An empty DECIMAL is tested for NULL on the two bytes that follow it.
    {"DecimalEmptyBeforeMarker",
     "short 5 short 0 short 0 short 0",
     1,
     {},
     head(0, "DECIMAL; NULLABLE") + notNull() + "0\n"},
    {"DecimalEmptyBeforeZeros",
     "short 5 short 0 short 0 short 0 short 0 short 0 short 0 short 0",
     2,
     {},
     head(0, "DECIMAL; NULLABLE") + notNull() + "\n" + head(1, "CHAR; NULLABLE") + notNull() +
         "\"\" [0]\n"},
    // Beyond 18 bytes the value ignores the rest, but all of it is skipped.
    {"DecimalLongerThanItsDigits",
     "short 5 short 0 short 0 short 21 hex c101 zeros 19 pad",
     1,
     {},
     head(0, "DECIMAL; NULLABLE") + notNull() + "1.000000000000000000000000000000\n"},
    {"Date",
     "short 7 short 0 short 0 long 45243",
     1,
     {},
     head(0, "DATE; NULLABLE") + notNull() + "11/14/2023\n"},
    {"DateLeapDay",
     "short 0x107 short 0 short 0 long 36584",
     1,
     {},
     head(0, "DATE; NOT NULLABLE") + notNull() + "02/29/2000\n"},
    {"VarcharPrintableOnly",
     "short 13 short 0 short 0 str \"a\\x01b\"",
     1,
     {.isprint = true},
     head(0, "VARCHAR; NULLABLE") + notNull() + "\"a.b\"\n"},
    {"Int8",
     "short 17 short 0 short 0 int8 -1234567890123",
     1,
     {},
     head(0, "INT8; NULLABLE") + notNull() + "-1234567890123\n"},
    {"Serial8",
     "short 18 short 0 short 0 int8 9",
     1,
     {},
     head(0, "SERIAL8; NULLABLE") + notNull() + "9\n"},
    {"Bigint",
     "short 52 short 0 short 0 bigint -9000000000",
     1,
     {},
     head(0, "BIGINT; NULLABLE") + notNull() + "-9000000000\n"},
    {"Bigserial",
     "short 53 short 0 short 0 bigint 4294967296",
     1,
     {},
     head(0, "BIGSERIAL; NULLABLE") + notNull() + "4294967296\n"},
    {"VarcharPadded",
     "short 13 short 0 short 0 str \"abc\"",
     1,
     {},
     head(0, "VARCHAR; NULLABLE") + notNull() + "\"abc\" [3]\n"},
    {"Lvarchar",
     "short 43 short 0 short 0 lstr \"hello\"",
     1,
     {},
     head(0, "SQLLVARCHAR; NULLABLE") + notNull() + "\n\t\t\tData length: 5\n\"hello\" [5]\n"},
    {"LvarcharUnderMin",
     "short 43 short 0 short 0 lstr \"abc\"",
     1,
     {.min = true},
     notNull() + "\n\"abc\" [3]\n"},
    {"BooleanTrue",
     "short 45 short 0 short 0 long 1 byte 1 pad",
     1,
     {},
     head(0, "SQLBOOL; NULLABLE") + notNull() + "\n\t\t\tData length: 1\n1\n"},
    {"BooleanSignExtends",
     "short 45 short 0 short 0 long 2 byte 0x81 0",
     1,
     {},
     head(0, "SQLBOOL; NULLABLE") + notNull() + "\n\t\t\tData length: 2\nffffff81\n"},
    {"BytesSkipped",
     "short 11 short 0 short 0 zeros 56",
     1,
     {},
     head(0, "BYTES; NULLABLE") + notNull() + "\n"},
    {"TextUnderMin", "short 12 short 0 short 0 zeros 56", 1, {.min = true}, notNull() + "\n"},
    {"BytesDumped",
     "short 11 short 0 short 0 text \"0123456789abcdef\" zeros 40",
     1,
     {.blob = true},
     head(0, "BYTES; NULLABLE") + notNull() + "\n" + kRule + "\nHEX DUMP:\n" +
         "       0:  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66\t0123456789abcdef\n" +
         "    0x10:  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\t................\n" +
         "    0x20:  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\t................\n" +
         "    0x30:  00 00 00 00 00 00 00 00" + std::string(9 * 3, ' ') + "\t........\n" + kRule +
         "\n"},
    {"UdtSkippedWithPad",
     "short 40 short 0 short 0 long 3 hex 010203 pad",
     1,
     {},
     head(0, "SQLUDTVAR; NULLABLE") + notNull() + "\n\t\t\tData length: 3\n"},
    {"UdtDumped",
     "short 41 short 0 short 0 long 2 hex 4142",
     1,
     {.udt = true},
     head(0, "SQLUDTFIXED; NULLABLE") + notNull() + "\n\t\t\tData length: 2\n" + kRule +
         "\nHEX DUMP:\n       0:  41 42" + std::string(15 * 3, ' ') + "\tAB\n" + kRule + "\n"},
    {"UdtWithNamesUnderMin",
     "short 40 str \"app\" str \"point\" short 0 short 0 long 4 hex 00000000",
     1,
     {.ext = true, .min = true},
     notNull() + "\n"},
    {"UdtWithNames",
     "short 40 str \"app\" str \"point\" short 0 short 8 long 4 hex 01020304",
     1,
     {.ext = true},
     head(0, "SQLUDTVAR; NULLABLE") + "\t\t\tOwner Name:  \"app\" [3]\n" +
         "\t\t\tExtended Type Name:  \"point\" [5]\n" + notNull("0x8") +
         "\n\t\t\tData length: 4\n"},
    {"NamesOnlyWhenAnnounced",
     "short 40 short 0 short 0 long 0",
     1,
     {.ext = false},
     head(0, "SQLUDTVAR; NULLABLE") + notNull() + "\n\t\t\tData length: 0\n"},
    {"EmptyNamesPrintNothing",
     "short 41 short 0 short 0 short 0 short 0 long 0",
     1,
     {.ext = true},
     head(0, "SQLUDTFIXED; NULLABLE") + notNull() + "\n\t\t\tData length: 0\n"},
    {"DistinctBuiltinHasNames",
     "short 0x802 short 0 str \"money2\" short 0 short 0 long 5",
     1,
     {.ext = true},
     head(0, "INT; NULLABLE, DISTINCT") + "\t\t\tExtended Type Name:  \"money2\" [6]\n" +
         notNull() + "5\n"},
    {"BuiltinHasNoNames",
     "short 2 short 0 short 0 long 5",
     1,
     {.ext = true},
     head(0, "INT; NULLABLE") + notNull() + "5\n"},
    {"SendrecvNotARow",
     "short 44 short 0 str \"rowid\" short 0 short 0 long 0",
     1,
     {.ext = true},
     head(0, "SQLSENDRECV; NULLABLE") + "\t\t\tExtended Type Name:  \"rowid\" [5]\n" + notNull() +
         "\n\t\t\tData length: 0\n"},
    {"NullTypePrintsNoData",
     "short 9 short 0 short 0 short 1 short 0 short 0 short 4",
     2,
     {},
     head(0, "NULL; NULLABLE") + notNull() + head(1, "SMALLINT; NULLABLE") + notNull() + "4\n"},
    {"InvalidCodeLeavesData",
     "short 30 short 0 short 0",
     1,
     {},
     head(0, "; NULLABLE") + notNull() + "Invalid Type in value: 30\n"},
    {"CodeBeyondTable",
     "short 0x136 short 0 short 0",
     1,
     {},
     "\nERROR: Invalid Type (54).\n" + notNull() + "Invalid Type in value: 310\n"},
    {"TwoValues",
     "short 1 short 0 short 0 short 1 short 2 short -1 short 0",
     2,
     {},
     head(0, "SMALLINT; NULLABLE") + notNull() + "1\n" + head(1, "INT; NULLABLE") +
         "\t\t\tIndicator: NULL\n\t\t\tPrecision: 0x0\n"},
    {"NoValues", "", 0, {}, ""},
};

void PrintTo(const ValueCase& c, std::ostream* os) {
  *os << c.name;
}

class Values : public ::testing::TestWithParam<ValueCase> {};

TEST_P(Values, PrintAndConsume) {
  const ValueCase& c = GetParam();
  Harness h("CS { " + c.data + " short " + std::to_string(kMarker) + " }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  wp::Run& run = h.run();
  run.caps.transFloatType = c.opts.transFloat;
  if (c.opts.ext) run.caps.protocolver.b[0] = 0x20;
  run.opt.min = c.opts.min;
  run.opt.blob_hex = c.opts.blob;
  run.opt.udt_hex = c.opts.udt;
  run.opt.isprint_flag = c.opts.isprint;
  Cursor cur(run);
  testing::internal::CaptureStdout();
  printvalues(cur, c.count);
  std::string separators = testing::internal::GetCapturedStdout();
  EXPECT_EQ(body(h), c.listing);
  EXPECT_EQ(separators, std::string(c.count > 1 ? c.count - 1 : 0, '\n'));
  ASSERT_EQ(cur.left, 2);
  EXPECT_EQ(cur.i16(), kMarker);
}

INSTANTIATE_TEST_SUITE_P(Printer, Values, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Values whose fields straddle packet boundaries. The next packet's header
// line shows where the printer fetched it.
struct SplitCase {
  const char* name;
  std::string packets;  // records after the header; the last ends with the marker
  std::string data;     // the listing after the data label
  int leftAfter;        // bytes left in the packet after the value
};

std::string pkt(int len) {
  return "\nS->C (" + std::to_string(len) + ")\t\t\t\n";
}

const SplitCase kSplits[] = {
    // A fixed-width field is carried whole into the next packet.
    {"IntAcrossPackets", "CS { short 2 short 0 short 0 hex 0001 }\nSC { hex 0002 short 30583 }\n",
     pkt(4) + "65538\n", 2},
    {"TypeWordAcrossPackets", "CS { hex 00 }\nSC { hex 01 short 0 short 0 short 9 short 30583 }\n",
     "9\n", 2},
    {"DecimalAcrossPackets",
     "CS { short 5 short 0 short 0 short 3 hex c10c }\nSC { hex 22 pad short 30583 }\n",
     pkt(4) + "12.34\n", 2},
    {"CharLengthAcrossPackets",
     "CS { short 0 short 0 short 0 hex 00 }\nSC { hex 02 text \"ok\" short 30583 }\n",
     pkt(5) + "\"ok\" [2]\n", 2},
    // Skipped data: the pad byte goes by the part in the last packet.
    {"UdtOddTailSkipsPad",
     "CS { short 40 short 0 short 0 long 5 hex 0102 }\nSC { hex 030405 pad short 30583 }\n",
     "\n\t\t\tData length: 5\n" + pkt(6), 2},
    {"UdtEvenTailNoPad",
     "CS { short 40 short 0 short 0 long 5 hex 010203 }\nSC { hex 0405 short 30583 }\n",
     "\n\t\t\tData length: 5\n" + pkt(4), 2},
    {"BytesOddTailSkipsPad",
     "CS { short 11 short 0 short 0 zeros 3 }\nSC { zeros 53 pad short 30583 }\n", "\n" + pkt(56),
     2},
    // The boolean's pad is skipped only while the packet still holds it.
    {"BooleanLastInPacketHasNoPad",
     "CS { short 45 short 0 short 0 long 1 byte 1 }\nSC { short 30583 }\n",
     "\n\t\t\tData length: 1\n1\n", 0},
};

void PrintTo(const SplitCase& c, std::ostream* os) {
  *os << c.name;
}

class SplitValues : public ::testing::TestWithParam<SplitCase> {};

TEST_P(SplitValues, ReadWhole) {
  const SplitCase& c = GetParam();
  Harness h(c.packets);
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor cur(h.run());
  printvalues(cur, 1);
  std::string s = h.listing();
  size_t at = s.find("\t\t\tData.....: ");
  ASSERT_NE(at, std::string::npos) << s;
  EXPECT_EQ(s.substr(at + 14), c.data);
  ASSERT_EQ(cur.left, c.leftAfter) << s;
  EXPECT_EQ(cur.i16(), kMarker);
}

INSTANTIATE_TEST_SUITE_P(Printer, SplitValues, ::testing::ValuesIn(kSplits),
                         [](const auto& info) { return std::string(info.param.name); });

// The separator newlines reach standard output even when the listing goes to
// a file, and never the listing itself.
TEST(PrinterSeparators, GoToStandardOutputUnderMin) {
  Harness h("CS { repeat 3 { short 1 short 0 short 0 short 5 } }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  h.run().opt.min = 1;
  Cursor cur(h.run());
  testing::internal::CaptureStdout();
  printvalues(cur, 3);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n\n");
  EXPECT_EQ(cur.left, 0);
  std::string one = notNull() + "5\n";
  EXPECT_EQ(body(h), one + one + one);
}

}  // namespace
}  // namespace wp
