// The scalar loaders and the type-name table.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "values/typename.h"
#include "values/wire.h"

namespace wp {
namespace {

TEST(Wire, TwoAndFourByteIntegers) {
  struct {
    std::vector<uint8_t> b;
    int16_t s;
    int32_t l;
  } cases[] = {
      {{0xff, 0xff, 0xff, 0xff}, -1, -1},
      {{0x80, 0x00, 0x00, 0x00}, -32768, INT32_MIN},
      {{0x7f, 0xff, 0xff, 0xff}, 32767, INT32_MAX},
      {{0x01, 0x02, 0x03, 0x04}, 0x0102, 0x01020304},
      {{0x00, 0xff, 0x00, 0x80}, 255, 0x00ff0080},  // low bytes are not sign-extended
      {{0xfe, 0x80, 0x80, 0x80}, -384, static_cast<int32_t>(0xfe808080)},
  };
  for (auto& c : cases) {
    EXPECT_EQ(ldshort(c.b.data()), c.s) << +c.b[0] << " " << +c.b[1];
    EXPECT_EQ(ldlong(c.b.data()), c.l) << +c.b[0];
  }
}

TEST(Wire, Bigint) {
  struct {
    std::vector<uint8_t> b;
    int64_t v;
  } cases[] = {
      {{0x80, 0, 0, 0, 0, 0, 0, 0}, INT64_MIN},
      {{0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, -1},
      {{0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, INT64_MAX},
      {{1, 2, 3, 4, 5, 6, 7, 8}, 0x0102030405060708},
      {{0, 0, 0, 0, 0x80, 0, 0, 0}, 0x80000000},
  };
  for (auto& c : cases) {
    int64_t out = 12345;
    EXPECT_EQ(ldbigint(&out, c.b.data()), c.v);
    EXPECT_EQ(out, c.v);
  }
}

TEST(Wire, FloatByteOrders) {
  struct {
    std::vector<uint8_t> b;
    int mode;
    double v;
  } doubles[] = {
      {{0x3f, 0xf0, 0, 0, 0, 0, 0, 0}, 1, 1.0},
      {{0xc0, 0x04, 0, 0, 0, 0, 0, 0}, 1, -2.5},
      {{0, 0, 0, 0, 0, 0, 0xf0, 0x3f}, 0, 1.0},
      {{0, 0, 0, 0, 0, 0, 0x04, 0xc0}, 0, -2.5},
      {{0, 0, 0, 0, 0, 0, 0xf0, 0x3f}, 2, 1.0},  // only mode 1 reverses
      {{0x40, 0x09, 0x21, 0xfb, 0x54, 0x44, 0x2d, 0x18}, 1, 3.141592653589793},
  };
  for (auto& c : doubles) EXPECT_EQ(network_lddbl(c.b.data(), c.mode), c.v) << c.mode;
  struct {
    std::vector<uint8_t> b;
    int mode;
    float v;
  } floats[] = {
      {{0x3f, 0x80, 0, 0}, 1, 1.0f},
      {{0xc0, 0x20, 0, 0}, 1, -2.5f},
      {{0, 0, 0x80, 0x3f}, 0, 1.0f},
      {{0, 0, 0x20, 0xc0}, -1, -2.5f},
  };
  for (auto& c : floats) EXPECT_EQ(network_ldfloat(c.b.data(), c.mode), c.v) << c.mode;
  // The plain loaders copy host order.
  const uint8_t one[8] = {0, 0, 0, 0, 0, 0, 0xf0, 0x3f};
  const uint8_t onef[4] = {0, 0, 0x80, 0x3f};
  EXPECT_EQ(lddbl(one), 1.0);
  EXPECT_EQ(ldfloat(onef), 1.0f);
  EXPECT_NE(network_lddbl(one, 1), 1.0);
}

TEST(Wire, CharStripsTrailingBlanksOnly) {
  struct {
    std::string src;
    int len;
    std::string out;
  } cases[] = {
      {"abc   ", 6, "abc"}, {"   ", 3, ""},
      {"", 0, ""},          {"a b ", 4, "a b"},
      {"ab\t ", 4, "ab\t"}, {"abcdef", 3, "abc"},
      {"ab  cd", 4, "ab"},  {" x", 2, " x"},
      {"abc", -3, ""},      {std::string(79, ' '), 79, ""},
  };
  for (auto& c : cases) {
    char dst[100];
    memset(dst, '#', sizeof dst);
    ldchar(c.src.c_str(), c.len, dst);
    EXPECT_EQ(std::string(dst), c.out) << '"' << c.src << '"';
    // In place, as the value printer uses it.
    char buf[100];
    memcpy(buf, c.src.c_str(), c.src.size() + 1);
    ldchar(buf, c.len, buf);
    EXPECT_EQ(std::string(buf), c.out) << '"' << c.src << '"';
  }
}

// The type line itself is checked by golden listings; here what callers
// test: codes beyond the table have no name.
TEST(TypeName, NamesByCode) {
  EXPECT_STREQ(sqltypename(0), "CHAR");
  EXPECT_STREQ(sqltypename(25), "");
  EXPECT_STREQ(sqltypename(53), "BIGSERIAL");
  EXPECT_EQ(sqltypename(54), nullptr);
  EXPECT_EQ(sqltypename(-1), nullptr);
}

}  // namespace
}  // namespace wp
