// DATE and INT8 values as the value printer shows them.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "values/textforms.h"
#include "values/wire.h"

namespace wp {
namespace {

const std::string kUntouched = "untouched";

// The text of a conversion that is expected to fail, or "untouched".
std::string date(int32_t days, const char* fmt = nullptr, int size = 80) {
  char buf[80];
  strcpy(buf, kUntouched.c_str());
  int rc = rdatestr(days, buf, size, fmt);
  EXPECT_EQ(rc == 0, std::string(buf) != kUntouched) << days;
  return buf;
}

TEST(Date, DefaultForm) {
  struct {
    int32_t days;
    const char* text;
  } cases[] = {
      {0, "12/31/1899"},     {1, "01/01/1900"},       {-1, "12/30/1899"},
      {59, "02/28/1900"},    {60, "03/01/1900"},  // 1900 has no 29 February
      {36525, "01/01/2000"}, {36584, "02/29/2000"},   {25568, "01/01/1970"},
      {45486, "07/14/2024"}, {-693594, "01/01/0001"}, {2958464, "12/31/9999"},
  };
  for (auto& c : cases) EXPECT_EQ(date(c.days), c.text) << c.days;
}

TEST(Date, YearsOutsideOneTo9999Fail) {
  for (int32_t days : {-693595, 2958465, INT32_MIN, INT32_MAX, -1000000, 3000000}) {
    char buf[80];
    strcpy(buf, kUntouched.c_str());
    EXPECT_EQ(rdatestr(days, buf, sizeof buf, nullptr), kTextRange) << days;
    EXPECT_EQ(std::string(buf), kUntouched) << days;
  }
}

TEST(Date, FormatFromTheEnvironmentStyle) {
  struct {
    int32_t days;
    const char* fmt;
    const char* text;
  } cases[] = {
      {36525, "%Y-%m-%d", "2000-01-01"},
      {36525, "%a %j", "Sat 001"},
      {36584, "%A %j %d.%m.%y", "Tuesday 060 29.02.00"},
      {60, "%a %j", "Thu 060"},
      {45486, "%b %e, %Y (%u)", "Jul 14, 2024 (7)"},
      {-693594, "%a %j %m/%d", "Mon 001 01/01"},
      {2958464, "%a %j", "Fri 365"},
      {0, "", "12/31/1899"},  // empty: the default
      {0, "day", "day"},
  };
  for (auto& c : cases) EXPECT_EQ(date(c.days, c.fmt), c.text) << c.fmt;
}

TEST(Date, TextMustFitTheBuffer) {
  EXPECT_EQ(date(0, nullptr, 11), "12/31/1899");
  EXPECT_EQ(date(0, nullptr, 10), kUntouched);
  EXPECT_EQ(date(0, "%Y", 4), kUntouched);
  std::string huge(300, 'x');
  EXPECT_EQ(date(0, huge.c_str()), kUntouched);
}

TEST(Date, TwoArgumentFormReadsTheEnvironment) {
  char buf[kDateTextSize];
  unsetenv("WIREPRINT_DATEFMT");
  ASSERT_EQ(rdatestr(36525, buf), 0);
  EXPECT_STREQ(buf, "01/01/2000");
  setenv("WIREPRINT_DATEFMT", "%d/%m/%Y", 1);
  ASSERT_EQ(rdatestr(36584, buf), 0);
  EXPECT_STREQ(buf, "29/02/2000");
  unsetenv("WIREPRINT_DATEFMT");
}

// INT8 from the ten wire bytes: sign word, high half, low half.
struct Int8Case {
  const char* what;
  uint8_t wire[10];
  int base;
  int rc;
  const char* text;  // when rc is 0
};

TEST(Int8, WireBytesToText) {
  const Int8Case cases[] = {
      {"zero", {0, 1, 0, 0, 0, 0, 0, 0, 0, 0}, 10, 0, "0"},
      {"one", {0, 1, 0, 0, 0, 0, 0, 0, 0, 1}, 10, 0, "1"},
      {"low half is unsigned", {0, 1, 0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff}, 10, 0, "4294967295"},
      {"high half", {0, 1, 0, 0, 0, 1, 0, 0, 0, 0}, 10, 0, "4294967296"},
      {"2^63-1",
       {0, 1, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
       10,
       0,
       "9223372036854775807"},
      {"-(2^63-1)",
       {0xff, 0xff, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
       10,
       0,
       "-9223372036854775807"},
      {"negative zero", {0xff, 0xff, 0, 0, 0, 0, 0, 0, 0, 0}, 10, 0, "0"},
      {"2^63 is too large", {0, 1, 0x80, 0, 0, 0, 0, 0, 0, 0}, 10, kTextRange, nullptr},
      {"-2^63 is too large", {0xff, 0xff, 0x80, 0, 0, 0, 0, 0, 0, 0}, 10, kTextRange, nullptr},
      {"sign word 0 is NULL", {0, 0, 0, 0, 0, 0, 0, 0, 0, 5}, 10, kTextNull, nullptr},
      {"hex", {0, 1, 0, 0, 0, 1, 0, 0, 0, 0xab}, 16, 0, "1000000ab"},
      {"negative hex", {0xff, 0xff, 0, 0, 0, 0, 0, 0, 0, 0xff}, 16, 0, "-ff"},
      {"hex 2^63-1",
       {0, 1, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
       16,
       0,
       "7fffffffffffffff"},
  };
  for (const Int8Case& c : cases) {
    Int8 rec;
    EXPECT_EQ(ldint8(c.wire, &rec), rec.lo) << c.what;
    char buf[80];
    strcpy(buf, kUntouched.c_str());
    EXPECT_EQ(int8tostr(&rec, buf, sizeof buf, c.base), c.rc) << c.what;
    EXPECT_EQ(std::string(buf), c.rc == 0 ? c.text : kUntouched) << c.what;
    if (c.base == 10) {
      char obuf[80];
      strcpy(obuf, kUntouched.c_str());
      EXPECT_EQ(ovb_int8tostr(&rec, obuf, sizeof obuf), c.rc) << c.what;
      EXPECT_STREQ(obuf, buf) << c.what;
    }
  }
}

TEST(Int8, BufferSize) {
  Int8 rec{-1, 0, 1234};
  char buf[8];
  strcpy(buf, "same");
  EXPECT_EQ(int8tostr(&rec, buf, 5, 10), kTextTooLong);  // "-1234" needs 6 bytes
  EXPECT_STREQ(buf, "same");
  EXPECT_EQ(int8tostr(&rec, buf, 6, 10), 0);
  EXPECT_STREQ(buf, "-1234");
}

}  // namespace
}  // namespace wp
