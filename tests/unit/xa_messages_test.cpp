#include <gtest/gtest.h>

#include <string>

#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"
#include "messages/xa.h"

namespace wp {
namespace {

using test::Harness;

const std::string kRule(80, '=');

// Decodes every packet of the trace as the driver does and returns the
// listing after the first packet's header line.
std::string decodeAll(Harness& h) {
  EXPECT_TRUE(h.header());
  while (h.next() == 0) printpacket(h.run());
  std::string s = h.listing();
  size_t at = s.find("\t\t\t\n");
  return at == std::string::npos ? s : s.substr(at + 4);
}

std::string decode(const std::string& trace, bool min = false) {
  Harness h(trace);
  h.run().opt.min = min;
  return decodeAll(h);
}

// The dump of 128 bytes that count up from `first`.
std::string xidDump(int first) {
  std::string s = kRule + "\nHEX DUMP:\n";
  for (int line = 0; line < 8; ++line) {
    char off[16];
    snprintf(off, sizeof off, "%#8x: ", line * 16);
    s += off;
    std::string chars;
    for (int i = 0; i < 16; ++i) {
      int b = (first + line * 16 + i) & 0xff;
      char hx[4];
      snprintf(hx, sizeof hx, " %02x", b);
      s += hx;
      chars += b >= 0x20 && b <= 0x7e ? static_cast<char>(b) : '.';
    }
    s += "\t" + chars + "\n";
  }
  // The last line was full: an empty column, padded for 17 missing bytes,
  // closes the dump.
  return s + std::string(17 * 3, ' ') + "\t\n" + kRule + "\n";
}

// An XID whose 128 data bytes count up from 0x41.
const char* kXid =
    "long 7 long 4 long 2 "
    "byte 65 66 67 68 69 70 71 72 73 74 75 76 77 78 79 80 81 82 83 84 85 86 87 88 89 90 91 92 93 "
    "94 95 96 97 98 99 100 101 102 103 104 105 106 107 108 109 110 111 112 113 114 115 116 117 118 "
    "119 120 121 122 123 124 125 126 127 128 129 130 131 132 133 134 135 136 137 138 139 140 141 "
    "142 "
    "143 144 145 146 147 148 149 150 151 152 153 154 155 156 157 158 159 160 161 162 163 164 165 "
    "166 "
    "167 168 169 170 171 172 173 174 175 176 177 178 179 180 181 182 183 184 185 186 187 188 189 "
    "190 "
    "191 192 ";

TEST(XaFlags, NamesEverySetBitInTableOrder) {
  struct Case {
    int32_t flags;
    const char* lines;
  } cases[] = {
      {0x00400000, " ( TMMULTIPLE ) \n ( TMMULTIPLE ) \n"},
      {static_cast<int32_t>(0x80000000), " ( TMASYNC ) \n"},
      {0x00000007, " ( TMREGISTER ) \n ( TMNOMIGRATE ) \n ( TMUSEASYNC ) \n"},
      {0x06000000, " ( TMSUCCESS ) \n ( TMSUSPEND ) \n"},
      {0x40000001, " ( TMREGISTER ) \n ( TMONEPHASE ) \n"},
      {0x20000000, " ( TMFAIL ) \n"},
      {0x10000000, " ( TMNOWAIT ) \n"},
      {0x08000000, " ( TMRESUME ) \n"},
      {0x01000000, " ( TMSTARTRSCAN ) \n"},
      {0x00800000, " ( TMENDRSCAN ) \n"},
      {0x00200000, " ( TMJOIN ) \n"},
      {0x00100000, " ( TMMIGRATE ) \n"},
      {0x00000008, ""},
      {0x00080000, ""},
  };
  for (const auto& c : cases) {
    Harness h("");
    print_xa_flag(h.run(), c.flags);
    EXPECT_EQ(h.listing(), c.lines) << std::hex << c.flags;
  }
}

TEST(XaFlags, FlagsFieldWithoutANamedBitLeavesTheLineOpen) {
  // XRECOVER ends in the flags field; the next message's output continues
  // the open line.
  std::string out =
      decode("CS { msg SQ_XRECOVER long 1 long -1 long 8 msg SQ_XRECOVER long 0 long 0 long 0 }\n");
  EXPECT_EQ(out,
            "\tSQ_XRECOVER\n"
            "\n\t\t\tStart: 1 \n"
            "\n\t\t\tEnd:   -1 \n"
            "\n\t\t\tFlags: 8 \tSQ_XRECOVER\n"
            "\n\t\t\tStart: 0 \n"
            "\n\t\t\tEnd:   0 \n"
            "\n\t\t\tFlags: 0  ( TMNOFLAGS )\n");
}

TEST(XaFlags, NothingUnderMin) {
  Harness h("");
  h.run().opt.min = 1;
  print_xa_flag(h.run(), 0x00400000);
  EXPECT_EQ(h.listing(), "");
}

TEST(XaErr, ReturnCodes) {
  struct Case {
    int16_t code;
    const char* hex;
    const char* text;
  } cases[] = {
      {0, "0", " ( XA_OK )\n"},
      {-3, "fffffffd", " ( TMER_PROTO | XAER_RMERR )\n"},
      {-2, "fffffffe", " ( TMER_INVAL | XAER_ASYNC )\n"},
      {-1, "ffffffff", " ( TMER_TMERR )\n"},
      {-9, "fffffff7", " ( XAER_OUTSIDE )\n"},
      {-4, "fffffffc", " ( XAER_NOTA )\n"},
      {3, "3", " ( XA_RDONLY )\n"},
      {9, "9", " ( XA_NOMIGRATE )\n"},
      {100, "64", " ( XA_RBROLLBACK )\n"},
      {107, "6b", " ( XA_RBTRANSIENT )\n"},
      {10, "a", " ( UNKNOWN )\n"},
      {99, "63", " ( UNKNOWN )\n"},
      {-10, "fffffff6", " ( UNKNOWN )\n"},
      {108, "6c", " ( UNKNOWN )\n"},
  };
  for (const auto& c : cases) {
    std::string out = decode("SC { msg SQ_XERR short " + std::to_string(c.code) + " }\n");
    EXPECT_EQ(out, "\tSQ_XERR\n\n\t\t\tCode:    " + std::to_string(c.code) + " (0x" + c.hex + ")" +
                       c.text)
        << c.code;
  }
}

TEST(XaXid, StateEndsAfterTheDataBlock) {
  // 12 + 128 bytes, then the next message.
  std::string out =
      decode(std::string("SC { msg SQ_XASTATE ") + kXid + "msg SQ_REMDML short 2 }\n");
  EXPECT_EQ(out,
            "\tSQ_XASTATE\n"
            "\n\t\t\tFormat:7 \n"
            "\n\t\t\tLGTRID:4 \n"
            "\n\t\t\tLBQUAL:2 \n" +
                xidDump(0x41) + "\tSQ_REMDML\n\t\tFlag..: 2\n");
}

TEST(XaXid, MinKeepsOnlyTheDump) {
  std::string out = decode(
      std::string("CS { msg SQ_XCOMMIT ") + kXid + "long 1 long 0x40000000 msg SQ_XERR short 0 }\n",
      true);
  EXPECT_EQ(out, "\tSQ_XCOMMIT\n" + xidDump(0x41) + "\tSQ_XERR\n");
}

// The field lines of a listing (they begin with a tab): what must not change
// when a message is split over packets.
std::string fieldLines(const std::string& s) {
  std::string out;
  for (size_t at = 0; at < s.size();) {
    size_t nl = s.find('\n', at);
    if (nl == std::string::npos) nl = s.size();
    if (s[at] == '\t') out += s.substr(at, nl - at) + "\n";
    at = nl + 1;
  }
  return out;
}

TEST(XaXid, FieldsStraddlePackets) {
  // The format splits after two bytes (carried), the data block after 50
  // bytes (followed), the flags after one byte (carried).
  std::string whole =
      decode(std::string("CS { msg SQ_XEND ") + kXid + "long 9 long 0x04000000 }\n");
  std::string split = decode(
      "CS { msg SQ_XEND hex 0000 }\n"
      "CS { hex 0007 long 4 long 2 "
      "byte 65 66 67 68 69 70 71 72 73 74 75 76 77 78 79 80 81 82 83 84 85 86 87 88 89 90 91 92 93 "
      "94 95 96 97 98 99 100 101 102 103 104 105 106 107 108 109 110 111 112 113 114 }\n"
      "CS { byte 115 116 117 118 "
      "119 120 121 122 123 124 125 126 127 128 129 130 131 132 133 134 135 136 137 138 139 140 141 "
      "142 143 144 145 146 147 148 149 150 151 152 153 154 155 156 157 158 159 160 161 162 163 164 "
      "165 166 167 168 169 170 171 172 173 174 175 176 177 178 179 180 181 182 183 184 185 186 187 "
      "188 189 190 191 192 long 9 hex 04 }\n"
      "CS { hex 000000 }\n");
  EXPECT_EQ(fieldLines(split), fieldLines(whole));
  EXPECT_EQ(fieldLines(whole),
            "\tSQ_XEND\n\t\t\tFormat:7 \n\t\t\tLGTRID:4 \n\t\t\tLBQUAL:2 \n"
            "\t\t\tRMID:  9 \n\t\t\tFlags: 67108864  ( TMSUCCESS ) \n");
  // The dump's line breaks where the packet does and restarts at byte 50.
  EXPECT_NE(
      split.find(" 71 72" + std::string(15 * 3, ' ') + "\tqr\n\nC->S (83)\t\t\t\n    0x32:  73 74"),
      std::string::npos);
  EXPECT_EQ(split.find("Read too far"), std::string::npos);
}

TEST(XaMiscFlags, TheModeFlagLastsAcrossPackets) {
  EXPECT_EQ(
      decode("SC { msg SQ_MISCFLAGS long 1 }\nCS { msg SQ_MISCFLAGS short 5 }\n"),
      "\tSQ_MISCFLAGS\n\t\tpc_boolmods: 1\n\nC->S (4)\t\t\t\n\tSQ_MISCFLAGS\n\t\tMode..: 5\n");
}

TEST(XaServer, MinReadsTheSameBytes) {
  std::string out = decode(
      "SC { msg SQ_REASSOC str \"srv\" str \"db\" short -2 long 0x10 str \"loc\" str \"/log\" "
      "msg SQ_SETGTRID long 1 text \"host-0123456789abcd\" pad long 5 long 6 long 7 "
      "msg SQ_XERR short 3 msg SQ_XACTSTAT short 1 short 2 short 3 msg SQ_REMDML short 1 }\n",
      true);
  EXPECT_EQ(out, "\tSQ_REASSOC\n\tSQ_SETGTRID\n\tSQ_XERR\n\tSQ_XACTSTAT\n\tSQ_REMDML\n");
}

}  // namespace
}  // namespace wp
