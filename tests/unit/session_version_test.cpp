// The server version ladder: text filtering, comparison and the capability
// bits each version earns when no internal version was announced.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "driver/run.h"
#include "harness.h"
#include "messages/database.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

TEST(SessionVersion, FilterKeepsTheLeadingDigitsAndDots) {
  struct {
    const char* in;
    const char* out;
  } rows[] = {
      {"9.40.UC1", "9.40."}, {"7.31", "7.31"},     {"V9.40", "9.40"},
      {" 10.00", "10.00"},   {"9.0304", "9.0304"}, {"8.00C", "8.00"},
      {"UC1", "1"},          {"abc", ""},          {"", ""},
      {"7.3 1", "7.3"},      {"..9", "9"},         {"12345678", "12345678"},
  };
  for (auto& r : rows) {
    char v[16] = {};
    strncpy(v, r.in, sizeof v - 1);
    _sq_filter(v);
    EXPECT_STREQ(v, r.out) << r.in;
  }
}

TEST(SessionVersion, CompareIsBytewiseUnsigned) {
  EXPECT_EQ(stcmpr("9.03", "9.03"), 0);
  EXPECT_LT(stcmpr("9.03", "9.0304"), 0);
  EXPECT_GT(stcmpr("9.0304", "9.03"), 0);
  EXPECT_LT(stcmpr("9.0304", "9.40"), 0);
  EXPECT_GT(stcmpr("7.z", "7.99"), 0);
  EXPECT_LT(stcmpr("7.z", "8.00"), 0);
  EXPECT_LT(stcmpr("", "1"), 0);
  EXPECT_GT(stcmpr("\x80", "z"), 0);  // bytes above 0x7f sort high
}

TEST(SessionVersion, LadderRows) {
  struct {
    const char* version;
    uint64_t mask;
  } rows[] = {
      // each row's own threshold, and the value just below it
      {"9.0304", 0xa038},  {"9.40", 0xa038}, {"9.50.", 0xa038}, {"9.0303", 0x8038},
      {"9.03039", 0x8038}, {"9.03", 0xb8},   {"9.0302", 0xb8},  {"9.02", 0xb0},
      {"9.021", 0xb0},     {"9.01", 0xa0},   {"9.00", 0xa0},    {"8.99", 0x202080},
      {"8.40", 0x202080},  {"8.39", 0x80},   {"8.00", 0x80},    {"7.99", 0x40c2},
      {"7.31", 0x40c2},    {"7.30", 0x40c2}, {"7.24", 0xc2},    {"7.23", 0xc2},
      {"7.22", 0xc0},      {"7.21", 0x80},   {"7.", 0x80},      {"6.00", 0x80},
      {"5.99", 0},         {"10.00", 0},     {"", 0},           {"9", 0x202080},
  };
  for (auto& r : rows) EXPECT_EQ(versionMask(r.version), r.mask) << r.version;
}

// The set in force after a version reply (with its request before it), as
// the first 8 bytes read little-endian; the answering stream follows it.
TEST(SessionVersion, ReplyAddsTheLadderBits) {
  struct {
    const char* before;
    const char* text;
    uint64_t mask;
  } cases[] = {
      {"", "9.40.UC1", 0xa038},  // byte 0 without 0x80: the two newest rows lack it
      {"", "8.40.FC2", 0x202080},
      // Only the first 8 bytes count: "xxxxxxx9" filters to "9", between 8.40
      // and 9.00.
      {"", "xxxxxxx9.40", 0x202080},
      {"", "7.31.UC1", 0x40c2},
      {"", "8.00", 0x80},
      {"", "5.10", 0},
      // An internal version takes precedence.
      {"SC 0 { msg SQ_INTERNALVER short 310 }\n", "9.40", 0x80bf3c},
      // The first exchange set the vector in force; the ladder adds to it.
      {"CS 0 { msg SQ_PROTOCOLS short 2 hex 0102 }\nSC 0 { msg SQ_PROTOCOLS short 2 hex 0306 }\n",
       "9.03", 0x02b9},
  };
  for (auto& c : cases) {
    test::Harness h(std::string(c.before) +
                    "CS 1 { msg SQ_VERSION }\nSC 2 { msg SQ_VERSION str \"" + c.text + "\" }\n");
    ASSERT_TRUE(h.header());
    while (h.next() == 0) printpacket(h.run());
    const Capabilities& caps = h.run().caps;
    EXPECT_EQ(caps.protocolver.low64(), c.mask) << c.text;
    EXPECT_EQ(caps.sub_sprotocolver.low64(), c.mask) << c.text;
  }
}

}  // namespace
}  // namespace wp
