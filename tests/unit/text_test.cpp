#include "values/text.h"

#include <gtest/gtest.h>

#include "driver/cursor.h"
#include "harness.h"

namespace wp {
namespace {

using test::Harness;

const std::string kRule(80, '=');

// The listing after the header line and the first packet's header line.
std::string body(Harness& h) {
  std::string s = h.listing();
  size_t at = s.find("\t\t\t\n");
  return at == std::string::npos ? s : s.substr(at + 4);
}

TEST(PrintString, OddLengthSkipsThePadByte) {
  Harness h("CS { str \"hello\" short 7 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  int16_t len = c.i16();
  printstring(c, len, "\t\tName:", 0);
  EXPECT_EQ(c.left, 2);
  EXPECT_EQ(c.i16(), 7);
  EXPECT_EQ(body(h), "\t\tName: \"hello\" [5]\n");
}

TEST(PrintString, TextAndPadAcrossPackets) {
  // "abc" ends its packet exactly; the pad byte is the next packet's first.
  Harness h("CS { short 3 text \"ab\" }\nSC { text \"c\" }\nCS { pad short 9 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  printstring(c, c.i16(), "L", 1);
  EXPECT_EQ(c.left, 2);
  EXPECT_EQ(c.i16(), 9);
  EXPECT_NE(body(h).find("L \"abc\" [3]\n"), std::string::npos);
}

TEST(PrintString, MinHidesUnlessForced) {
  Harness h("CS { str \"ab\" str \"cd\" }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  h.run().opt.min = 1;
  Cursor c(h.run());
  printstring(c, c.i16(), "A", 0);
  printstring(c, c.i16(), "B", 1);
  EXPECT_EQ(c.left, 0);
  EXPECT_EQ(body(h), "B \"cd\" [2]\n");
}

TEST(HexDump, SeventeenBytes) {
  Harness h("CS { text \"0123456789abcdef\" byte 0 pad }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  hexdump(c, 17);
  EXPECT_EQ(c.left, 0);
  EXPECT_EQ(body(h), kRule + "\nHEX DUMP:\n" +
                         "       0:  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66"
                         "\t0123456789abcdef\n" +
                         "    0x10:  00" + std::string(16 * 3, ' ') + "\t.\n" + kRule + "\n");
}

TEST(HexDump, EmptyAndFullLines) {
  Harness h("CS { zeros 16 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  hexdump(c, 0);
  hexdump(c, 16);
  std::string empty = std::string(17 * 3, ' ') + "\t\n";
  EXPECT_EQ(body(h), kRule + "\nHEX DUMP:\n" + empty + kRule + "\n" + kRule + "\nHEX DUMP:\n" +
                         "       0: " + std::string(16, ' ').replace(0, 16, "") +
                         " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\t" +
                         std::string(16, '.') + "\n" + empty + kRule + "\n");
}

TEST(HexDump, ANewPacketStartsANewLine) {
  Harness h("CS { hex 010203 }\nSC { hex 04050607 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  hexdump(c, 6);
  EXPECT_EQ(c.left, 1);
  std::string s = body(h);
  EXPECT_NE(s.find("       0:  01 02 03" + std::string(14 * 3, ' ') + "\t...\n\nS->C (4)"),
            std::string::npos)
      << s;
  EXPECT_NE(s.find("     0x3:  04 05 06" + std::string(14 * 3, ' ') + "\t...\n" + kRule),
            std::string::npos)
      << s;
}

}  // namespace
}  // namespace wp
