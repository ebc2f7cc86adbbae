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

std::string decodeAll(test::Harness& h) {
  EXPECT_TRUE(h.header());
  while (h.next() == 0) printpacket(h.run());
  return h.listing();
}

// A reply's version (with the request before it) through the decoder.
CapVector afterVersion(const std::string& text, const std::string& before = "") {
  test::Harness h(before + "CS 1 { msg SQ_VERSION }\nSC 2 { msg SQ_VERSION str \"" + text +
                  "\" }\n");
  decodeAll(h);
  EXPECT_EQ(h.run().caps.sub_sprotocolver.low64(), h.run().caps.protocolver.low64());
  return h.run().caps.protocolver;
}

TEST(SessionVersion, ReplySetsBitsInByteOrder) {
  CapVector v = afterVersion("9.40.UC1");
  EXPECT_EQ(v.b[0], 0x38);
  EXPECT_EQ(v.b[1], 0xa0);
  EXPECT_FALSE(v.has(7));  // 0x80 of byte 0: the two newest rows lack it
  EXPECT_TRUE(v.has(1, 0x20));
  v = afterVersion("8.40.FC2");
  EXPECT_EQ(v.low64(), 0x202080u);
  EXPECT_TRUE(v.has(7));
  EXPECT_TRUE(v.has(21));
  // Only the first 8 bytes count: "xxxxxxx9" filters to "9", which sorts
  // between "8.40" and "9.00".
  EXPECT_EQ(afterVersion("xxxxxxx9.40").low64(), 0x202080u);
  EXPECT_EQ(afterVersion("7.31.UC1").low64(), 0x40c2u);
  EXPECT_EQ(afterVersion("8.00").low64(), 0x80u);
  EXPECT_EQ(afterVersion("5.10").low64(), 0u);
}

TEST(SessionVersion, InternalVersionTakesPrecedence) {
  CapVector v = afterVersion("9.40", "SC 0 { msg SQ_INTERNALVER short 310 }\n");
  EXPECT_EQ(v.b[0], 0x3c);
  EXPECT_EQ(v.b[1], 0xbf);
  EXPECT_EQ(v.b[2], 0x80);
}

TEST(SessionVersion, MaskAddsToBitsAlreadySet) {
  // Without an internal version the first exchange is the client's and sets
  // the vector in force; the ladder then adds its bits to it.
  CapVector v = afterVersion("9.03",
                             "CS 0 { msg SQ_PROTOCOLS short 2 hex 01 02 }\n"
                             "SC 0 { msg SQ_PROTOCOLS short 2 hex 03 06 }\n");
  EXPECT_EQ(v.b[0], 0xb8 | 0x01);
  EXPECT_EQ(v.b[1], 0x02);
}

}  // namespace
}  // namespace wp
