// Routine messages under the capabilities that widen or add fields, and the
// input describe and variable put layouts.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "harness.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

using test::Harness;

using Setup = void (*)(wp::Run&);

struct Decoded {
  std::string listing;  // message lines only: packet header lines removed
  std::string stdoutText;
  std::shared_ptr<Harness> harness;
};

// Decodes every packet of the records and keeps the message lines.
Decoded decode(const std::string& records, Setup setup) {
  Decoded d;
  d.harness = std::make_shared<Harness>(records);
  Harness& h = *d.harness;
  EXPECT_TRUE(h.header());
  setup(h.run());
  testing::internal::CaptureStdout();
  while (h.next() == 0) printpacket(h.run());
  d.stdoutText = testing::internal::GetCapturedStdout();
  // Drop the version line and each packet's header line with the empty line
  // before it.
  std::string s = h.listing();
  size_t at = 0;
  size_t lastLen = 0;
  while (at < s.size()) {
    size_t end = s.find('\n', at);
    if (end == std::string::npos) end = s.size() - 1;
    std::string line = s.substr(at, end + 1 - at);
    at = end + 1;
    if (line.rfind("C->S (", 0) == 0 || line.rfind("S->C (", 0) == 0) {
      if (lastLen == 1) d.listing.pop_back();
      lastLen = 0;
      continue;
    }
    if (line.rfind("SQLIDBG", 0) == 0) continue;
    d.listing += line;
    lastLen = line.size();
  }
  return d;
}

TEST(RoutineGetRoutine, LongSignatureLength) {
  Decoded d = decode("CS { msg SQ_GETROUTINE long 3 text \"f()\" pad short 0 }\n",
                     [](wp::Run& run) { run.caps.protocolver.b[7] = 0x02; });
  EXPECT_EQ(d.listing, "\tSQ_GETROUTINE\n\t\tSignature..: \"f()\" [3]\n\t\tSend fparam: FALSE\n");
}

TEST(RoutineGetRoutine, ShortLengthIsUnsigned) {
  Decoded d =
      decode("CS { msg SQ_GETROUTINE hex 8001 zeros 32769 pad short 1 }\n", [](wp::Run&) {});
  EXPECT_EQ(d.listing, "\tSQ_GETROUTINE\n\t\tSignature..: \"\" [32769]\n\t\tSend fparam: TRUE\n");
}

// The sizes of return values and parameters come with byte 0 mask 0x10.
TEST(RoutineFparam, LengthPrecisionScale) {
  Decoded d = decode(
      "SC { msg SQ_GETROUTINE long 1 msg SQ_FPARAM int8 1 long 0 text \"Y\" long 2 int8 3 long 4 "
      "short 1 byte 0 short 5 long 0 long 0x120 short -1 short 2 "
      "short 1 byte 1 short 1 long 9 long 2 short 5 short 0 }\n",
      [](wp::Run& run) {
        run.caps.protocolver.b[0] = 0x10;
        run.dec.setReply(101, true);  // a lookup is under way
      });
  EXPECT_EQ(d.listing,
            "\tSQ_GETROUTINE\n\t\tRoutine handle: 1 [0x1]\n\tSQ_FPARAM\n\t\tFunc State: 1\n"
            "\t\tRequest....: 0 [0]\n\t\tIs Done....: Y\n\t\tRoutine id.: 2 [0x2]\n"
            "\t\tRowi.......:3\n\t\tColumn id..: 4 [0x4]\n\t\t# return...: 1\n"
            "\t\t    1) Null....: FALSE\n\t\t\tType ...DECIMAL; NULLABLE\n"
            "\t\t\tExtended: 0 [0]\n\t\t\tLength..: 288 [0x120]\n"
            "\t\t\tPrec....: -1 [0xffffffff]\n\t\t\tScale...: 2 [0x2]\n"
            "\t\t# Params...: 1\n\t\t    1) Null....: TRUE\n\t\t\tType ...SMALLINT; NULLABLE\n"
            "\t\t\tExtended: 9 [0x9]\n\t\t\tLength..: 2 [0x2]\n\t\t\tPrec....: 5 [0x5]\n"
            "\t\t\tScale...: 0 [0]\n");
}

// Input fields: extended attributes come with byte 6 mask 0x08; with mask
// 0x40 as well, built-in types go without them.
struct IdescribeCase {
  const char* name;
  uint8_t byte6;
  std::string fields;
  std::string listing;
};

void PrintTo(const IdescribeCase& c, std::ostream* os) {
  *os << c.name;
}

const IdescribeCase kIdescribe[] = {
    {"NoAttributes", 0x00, "short 1 short 2 long 4",
     "\t\t0) Field \n\t\t\tType....................: INT; NULLABLE\n"
     "\t\t\tLength : 4 (0x4)\n"},
    {"AttributesForEveryType", 0x08, "short 1 short 2 long 7 short 0 short 4 long 0 long 4",
     "\t\t0) Field \n\t\t\tType....................: INT; NULLABLE\n"
     "\n\t\t\tExtended ID: 7\n\t\t\tPass By Reference Flag: 0\n\t\t\tAlignment: 4\n"
     "\t\t\tSource Type for Distinct Type: 0\n\t\t\tLength : 4 (0x4)\n"},
    {"BuiltinWithoutAttributes", 0x48,
     "short 2 short 2 long 4 short 0x802 short 0 str \"cents\" long 3 short 1 short 8 long 2 "
     "long -1",
     "\t\t0) Field \n\t\t\tType....................: INT; NULLABLE\n"
     "\t\t\tLength : 4 (0x4)\n"
     "\t\t1) Field \n\t\t\tType....................: INT; NULLABLE, DISTINCT\n"
     "\n\t\t\tExtended ID: 3\n\t\t\tOwner Name Length: 0\n"
     "\t\t\tExtended Type Name Length: 5\n\t\t\tExtended Type Name: cents\n"
     "\t\t\tPass By Reference Flag: 1\n\t\t\tAlignment: 8\n"
     "\t\t\tSource Type for Distinct Type: 2\n\t\t\tLength : -1 (0xffffffff)\n"},
    {"MaskWithoutAttributesChangesNothing", 0x40, "short 1 short 0x29 str \"o\" str \"t\" long 8",
     "\t\t0) Field \n\t\t\tType....................: SQLUDTFIXED; NULLABLE\n"
     "\t\t\tOwner Name Length: 1\n\t\t\tOwner Name: o\n\t\t\tExtended Type Name Length: 1\n"
     "\t\t\tExtended Type Name: t\n\t\t\tLength : 8 (0x8)\n"},
};

class Idescribe : public ::testing::TestWithParam<IdescribeCase> {};

TEST_P(Idescribe, Fields) {
  static uint8_t byte6;
  byte6 = GetParam().byte6;
  Decoded d = decode("SC { msg SQ_IDESCRIBE " + GetParam().fields + " msg SQ_RELEASE }\n",
                     [](wp::Run& run) { run.caps.protocolver.b[6] = byte6; });
  std::string count = GetParam().fields.substr(6, GetParam().fields.find(' ', 6) - 6);
  EXPECT_EQ(d.listing, "\tSQ_IDESCRIBE\n\t\t# input fields.....: " + count + "\n" +
                           GetParam().listing + "\tSQ_RELEASE\n");
}

INSTANTIATE_TEST_SUITE_P(Routine, Idescribe, ::testing::ValuesIn(kIdescribe),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(RoutineIdescribe, MinHidesEveryLine) {
  Decoded d = decode(
      "SC { msg SQ_IDESCRIBE short 1 short 0x28 str \"o\" str \"t\" long 8 msg SQ_RELEASE }\n",
      [](wp::Run& run) { run.opt.min = 1; });
  EXPECT_EQ(d.listing, "\tSQ_IDESCRIBE\n\tSQ_RELEASE\n");
}

// Rows are padded one by one: sizes 5, 2 and 3 take 6 + 2 + 4 bytes, and the
// put counters add that figure once per message.
TEST(RoutineVput, CountersAndPadding) {
  Decoded d = decode(
      "CS { msg SQ_VPUT short 3 long 5 long 2 long 3 zeros 12 msg SQ_RELEASE }\n"
      "CS { msg SQ_VPUT short 1 long -4 msg SQ_RELEASE }\n",
      [](wp::Run&) {});
  EXPECT_EQ(d.listing,
            "\tSQ_VPUT\n\t\t# rows..........: 3\n\t\tSizes of data rows: 5 2 3\n\tSQ_RELEASE\n"
            "\tSQ_VPUT\n\t\t# rows..........: 1\n\t\tSizes of data rows: -4\n\tSQ_RELEASE\n");
  EXPECT_EQ(d.harness->run().sum.put_count, 2);
  EXPECT_EQ(d.harness->run().sum.put_bytes, 12);
}

TEST(RoutineVput, TupleDumpUnderMinKeepsTheDumps) {
  Decoded d =
      decode("CS { msg SQ_VPUT short 1 long 2 text \"hi\" msg SQ_RELEASE }\n", [](wp::Run& run) {
        run.opt.min = 1;
        run.opt.dump_tuple = 1;
      });
  std::string rule(80, '=');
  EXPECT_EQ(d.listing, "\tSQ_VPUT\n" + rule + "\nHEX DUMP:\n       0:  68 69" +
                           std::string(15 * 3, ' ') + "\thi\n" + rule + "\n\tSQ_RELEASE\n");
}

// With statement statistics each row after the first counts as one more
// message of the packet; without them a put counts once.
TEST(RoutineVput, EachRowCountsWithStatementStatistics) {
  for (int stmtstats : {0, 1}) {
    Harness h("CS { msg SQ_VPUT short 3 long 1 long 1 long 1 zeros 6 }\n");
    ASSERT_TRUE(h.header());
    h.run().opt.stmtstats = stmtstats;
    ASSERT_EQ(h.next(), 0);
    printpacket(h.run());
    const Timing& t = h.run().timing;
    ASSERT_EQ(t.g_inopr, 1);
    EXPECT_EQ(t.g_prevs[0].type, 133);
    EXPECT_EQ(t.g_prevs[0].count, stmtstats ? 3 : 1);
  }
}

}  // namespace
}  // namespace wp
