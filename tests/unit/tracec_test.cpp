#include "tracec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string hex(const std::vector<uint8_t>& b) {
  static const char* d = "0123456789abcdef";
  std::string s;
  for (uint8_t c : b) s += {d[c >> 4], d[c & 15]};
  return s;
}

struct Case {
  const char* text;
  const char* bytes;  // hex, or nullptr when the description must fail
};

TEST(Tracec, ItemsCompileToTheirWireBytes) {
  const Case cases[] = {
      {"header 7", "53514c4900000007"},
      {"header 7 internal 316", "53514c4900000007006e013c"},
      {"msg SQ_EOT msg 95", "000c005f"},
      {"short -1 long 0x01020304 bigint -2", "ffff01020304fffffffffffffffe"},
      {"byte 1 255 -1", "01ffff"},
      {"int8 -5", "ffff0000000000000005"},
      {"int8 0x100000002", "00010000000100000002"},
      {"double 1 float 1", "3ff00000000000003f800000"},
      {"double-le 1", "000000000000f03f"},
      {"str \"abc\" lstr \"ab\"", "0003616263000000000261 62"},
      {"cstr \"a\\t\" text \"\\x01\\\"\"", "61090001 22"},
      {"zeros 3 pad", "00000000"},
      {"repeat 3 { byte 7 }", "070707"},
      {"repeat 0 { byte 7 }", ""},
      {"CF 258", "43460000010200000000"},
      {"MT \"7f\"", "4d543766000000000000"},
      {"CS 1700000000 { msg 12 align }", "4353 00000002 00000040fc54d941 000c"},
      {"CS dec:5:6 { byte 1 align }", "4353 00000002 00000005 00000006 0100"},
      {"SC len=-1 raw:0102030405060708 { }", "5343ffffffff0102030405060708"},
      {"msg SQ_NOPE", nullptr},
      {"str abc", nullptr},
      {"CS 1 { short }", nullptr},
      {"text \"open", nullptr},
  };
  for (const Case& c : cases) {
    tracec::Result r = tracec::compile(c.text);
    if (!c.bytes) {
      EXPECT_FALSE(r.ok()) << c.text;
      continue;
    }
    std::string want;
    for (const char* p = c.bytes; *p; ++p)
      if (*p != ' ') want += *p;
    ASSERT_TRUE(r.ok()) << c.text << ": " << r.error;
    EXPECT_EQ(hex(r.bytes), want) << c.text;
  }
}

TEST(Tracec, ErrorsNameTheLine) {
  tracec::Result r = tracec::compile("header 7\n\nCS 1 { bogus }\n");
  EXPECT_EQ(r.error, "line 3: unknown item 'bogus'");
}

}  // namespace
