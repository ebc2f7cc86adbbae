#include "values/text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <iterator>
#include <string>

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

// A character value read after its 2-byte length, then the short that
// follows it: what was printed and where the position ended.
struct CharCase {
  const char* what;
  std::string trace;
  std::string printed;  // the listing after the first packet's header
  int16_t after;        // the short read after the value
};

std::string pkt(const char* dir, int len) {
  return std::string("\n") + dir + " (" + std::to_string(len) + ")\t\t\t\n";
}

void runCharCases(const CharCase* cases, size_t n, int isprint) {
  for (size_t i = 0; i < n; ++i) {
    const CharCase& c = cases[i];
    Harness h(c.trace);
    ASSERT_TRUE(h.header());
    ASSERT_EQ(h.next(), 0);
    h.run().opt.isprint_flag = isprint;
    Cursor cur(h.run());
    printchar(cur, cur.i16());
    EXPECT_EQ(body(h), c.printed) << c.what;
    EXPECT_EQ(cur.i16(), c.after) << c.what;
  }
}

TEST(PrintChar, PositionAndPadAcrossPackets) {
  const CharCase cases[] = {
      {"odd length skips its pad", "CS { short 3 text \"abc\" hex ff short 7 }\n", "\"abc\" [3]\n",
       7},
      {"even length has no pad", "CS { short 4 text \"abcd\" short 7 }\n", "\"abcd\" [4]\n", 7},
      {"an empty packet after the length", "CS { short 3 }\nSC { text \"xyz\" hex ff short 4 }\n",
       pkt("S->C", 6) + "\"xyz\" [3]\n", 4},
      {"split, even part in the last packet",
       "CS { short 5 text \"abc\" }\nSC { text \"de\" short 9 }\n",
       "\"abc\" [5]\n" + pkt("S->C", 4), 9},
      {"split, odd part in the last packet of an even value",
       "CS { short 6 text \"abc\" }\nSC { text \"def\" hex ff short 9 }\n",
       "\"abc\" [6]\n" + pkt("S->C", 6), 9},
      {"three packets",
       "CS { short 7 text \"ab\" }\nSC { text \"cde\" }\nCS { text \"fg\" short 5 }\n",
       "\"ab\" [7]\n" + pkt("S->C", 3) + pkt("C->S", 4), 5},
      {"three packets, odd last part",
       "CS { short 6 text \"ab\" }\nSC { text \"cd\" }\nCS { text \"e\" hex ff short 5 }\n",
       "\"ab\" [6]\n" + pkt("S->C", 2) + pkt("C->S", 4), 5},
      {"a value ending its packet leaves the next one alone",
       "CS { short 4 text \"wxyz\" }\nSC { short 3 }\n", "\"wxyz\" [4]\n", 3},
      {"embedded NUL ends the text, not the value", "CS { short 4 text \"ab\\0d\" short 2 }\n",
       "\"ab\" [4]\n", 2},
      {"negative length moves nothing", "CS { short -2 short 7 }\n", "\"\" [-2]\n", 7},
      {"zero length", "CS { short 0 short 7 }\n", "\"\" [0]\n", 7},
  };
  runCharCases(cases, std::size(cases), 0);
}

TEST(PrintChar, PrintableOnlyInTheCLocale) {
  const CharCase cases[] = {
      {"controls, high bytes and NUL are dots",
       "CS { short 7 text \"a\\x01b\\xe9\\0c~\" pad short 1 }\n", "\"a.b..c~\"\n", 1},
      {"no length is printed; the wire length moves",
       "CS { short 5 text \"ab\" }\nSC { text \"\\tde\" pad short 3 }\n",
       "\"ab\"\n" + pkt("S->C", 6), 3},
      {"UTF-8 bytes are single bytes here", "CS { short 2 hex c3a9 short 4 }\n", "\"..\"\n", 4},
  };
  runCharCases(cases, std::size(cases), 1);
}

// Switches the whole locale for one test.
class LocaleScope {
 public:
  explicit LocaleScope(const char* name) { ok_ = setlocale(LC_ALL, name) != nullptr; }
  ~LocaleScope() { setlocale(LC_ALL, "C"); }
  bool ok() const { return ok_; }

 private:
  bool ok_;
};

TEST(PrintChar, PrintableCharactersInAUtf8Locale) {
  LocaleScope utf8("C.UTF-8");
  ASSERT_TRUE(utf8.ok());
  const CharCase cases[] = {
      {"two- and three-byte characters stay", "CS { short 6 hex c3a9 e282ac 41 short 1 }\n",
       "\"\xc3\xa9\xe2\x82\xac"
       "A\"\n",
       1},
      {"a control character of two bytes is two dots", "CS { short 3 hex c285 41 pad short 2 }\n",
       "\"..A\"\n", 2},
      {"invalid and truncated sequences are one dot per byte",
       "CS { short 4 hex ff 41 e282 short 3 }\n", "\".A..\"\n", 3},
      {"NUL", "CS { short 2 hex 0041 short 4 }\n", "\".A\"\n", 4},
      {"a character cut by the packet end", "CS { short 3 hex 41 c3 }\nSC { hex a9 pad short 6 }\n",
       "\"A.\"\n" + pkt("S->C", 4), 6},
  };
  runCharCases(cases, std::size(cases), 1);
}

TEST(PrintChar, LengthPrintsAsSixteenBits) {
  Harness h("CS { long 40000 repeat 40000 { byte 0x41 } short 12 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  printchar(c, c.i32());
  EXPECT_EQ(body(h), "\"" + std::string(40000, 'A') + "\" [-25536]\n");
  EXPECT_EQ(c.i16(), 12);
}

// A dump of n bytes, then the short after it.
struct DumpCase {
  const char* what;
  std::string trace;
  int32_t n;
  std::string printed;
  int16_t after;
};

std::string dumpLine(const char* offset, const std::string& hex, const std::string& chars) {
  size_t count = hex.size() / 3;
  std::string pad = count < 16 ? std::string((17 - count) * 3, ' ') : "";
  return std::string(offset) + ": " + hex + pad + "\t" + chars + "\n";
}

TEST(HexDump, LayoutsAndJoins) {
  const std::string top = kRule + "\nHEX DUMP:\n";
  const std::string bottom = kRule + "\n";
  const std::string emptyColumn = std::string(51, ' ') + "\t\n";
  const DumpCase cases[] = {
      {"one byte and its pad", "CS { hex 41 ff short 3 }\n", 1,
       top + dumpLine("       0", " 41", "A") + bottom, 3},
      {"blanks, controls and high bytes", "CS { hex 20 7e 7f 80 00 0a short 3 }\n", 6,
       top + dumpLine("       0", " 20 7e 7f 80 00 0a", " ~....") + bottom, 3},
      {"join right after a full line",
       "CS { text \"ABCDEFGHIJKLMNOP\" }\nSC { hex 5152 short 3 }\n", 18,
       top +
           dumpLine("       0", " 41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50",
                    "ABCDEFGHIJKLMNOP") +
           emptyColumn + pkt("S->C", 4) + dumpLine("    0x10", " 51 52", "QR") + bottom,
       3},
      {"lines count from each join",
       "CS { text \"abcde\" }\nSC { text \"fghijklmnopqrstuvw\" }\n"
       "CS { text \"xyz\" short 3 }\n",
       26,
       top + dumpLine("       0", " 61 62 63 64 65", "abcde") + pkt("S->C", 18) +
           dumpLine("     0x5", " 66 67 68 69 6a 6b 6c 6d 6e 6f 70 71 72 73 74 75",
                    "fghijklmnopqrstu") +
           dumpLine("    0x15", " 76 77", "vw") + pkt("C->S", 5) +
           dumpLine("    0x17", " 78 79 7a", "xyz") + bottom,
       3},
      {"negative count: an empty dump", "CS { short 3 }\n", -2, top + emptyColumn + bottom, 3},
  };
  for (const DumpCase& c : cases) {
    Harness h(c.trace);
    ASSERT_TRUE(h.header());
    ASSERT_EQ(h.next(), 0);
    Cursor cur(h.run());
    hexdump(cur, c.n);
    EXPECT_EQ(body(h), c.printed) << c.what;
    EXPECT_EQ(cur.i16(), c.after) << c.what;
  }
}

TEST(PrintString, SplitTextsAndTheirPad) {
  struct {
    const char* what;
    std::string trace;
    std::string printed;
    int16_t after;
  } cases[] = {
      {"even text, odd part in the last packet: no pad",
       "CS { short 4 text \"a\" }\nSC { text \"bcd\" short 6 }\n",
       pkt("S->C", 5) + "L \"abcd\" [4]\n", 6},
      {"odd text, even part in the last packet: pad",
       "CS { short 5 text \"abc\" }\nSC { text \"de\" pad short 6 }\n",
       pkt("S->C", 5) + "L \"abcde\" [5]\n", 6},
      {"three packets",
       "CS { short 5 text \"a\" }\nSC { text \"bc\" }\nCS { text \"de\" pad short 6 }\n",
       pkt("S->C", 2) + pkt("C->S", 5) + "L \"abcde\" [5]\n", 6},
      {"an empty text", "CS { short 0 short 6 }\n", "L \"\" [0]\n", 6},
  };
  for (auto& c : cases) {
    Harness h(c.trace);
    ASSERT_TRUE(h.header());
    ASSERT_EQ(h.next(), 0);
    Cursor cur(h.run());
    printstring(cur, cur.i16(), "L", 0);
    EXPECT_EQ(body(h), c.printed) << c.what;
    EXPECT_EQ(cur.i16(), c.after) << c.what;
  }
}

}  // namespace
}  // namespace wp
