// Session, database and connection messages whose fields straddle packets,
// split at every even position, decode as when they do not.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

std::string decodeAll(test::Harness& h) {
  EXPECT_TRUE(h.header());
  try {
    while (h.next() == 0) printpacket(h.run());
  } catch (const Exit& e) {
    ADD_FAILURE() << "exit " << e.status;
  }
  return h.listing();
}

// The listing without its packet headers. A header may fall inside a line
// whose value came from the next packet; the line is joined again.
std::string messageLines(std::string listing) {
  for (const char* head : {"\nC->S (", "\nS->C ("}) {
    for (size_t at; (at = listing.find(head)) != std::string::npos;) {
      size_t end = listing.find('\n', at + 1);
      listing.erase(at, end == std::string::npos ? end : end + 1 - at);
    }
  }
  return listing;
}

std::string hexItems(const std::vector<uint8_t>& b, size_t from, size_t to) {
  std::string s = "hex";
  for (size_t i = from; i < to; ++i) {
    char x[4];
    snprintf(x, sizeof x, " %02x", b[i]);
    s += x;
  }
  return s;
}

struct Split {
  const char* name;
  const char* before;  // records ahead of the message (requests)
  const char* type;    // message type
  std::vector<uint8_t> body;
};

TEST(SessionDecode, FieldsAcrossPacketsDecodeAsInOnePacket) {
  const Split cases[] = {
      {"uuid",
       "CS 1 { msg SQ_UUID }\n",
       "SQ_UUID",
       {0x87, 0x65, 0x43, 0x21, 0xfe, 0xdc, 0x11, 0xd0, 0x80, 0x7f, 0xff, 0, 1, 0x7f, 0x80, 0xfe}},
      {"info",
       "",
       "SQ_INFO",
       {0, 1, 0,   8,   0,   0,   0, 1, 0xff, 0xff, 0xff, 0xfe,          // two attribute words
        0, 6, 0,   16,  0,   3,   0, 4, 0,    3,    'A',  'B',  'C', 0,  // ENV, odd name
        0, 4, 'a', 'b', 'c', 'd', 0, 2, 'N',  'M',  0,    1,    'v', 0, 0, 0,  // two pairs, end
        0, 0}},
      {"dblist",
       "CS 1 { msg SQ_DBLIST }\n",
       "SQ_DBLIST",
       {0, 5, 's', 't', 'o', 'r', 'e', 0, 0, 2, 'd', 'b', 0, 0}},
      {"version",
       "CS 1 { msg SQ_VERSION }\n",
       "SQ_VERSION",
       {0, 7, '9', '.', '4', '0', '.', 'U', 'C', 0, 0, 0x50, 0, 1}},  // then SQ_NLS 1
      {"protocols", "", "SQ_PROTOCOLS", {0, 5, 0xff, 0x05, 0x80, 0x00, 0x7f, 0, 0, 0x50, 0, 9}},
      {"connect",
       "",
       "SQ_CONNECT",
       {0, 0, 0, 3, 's', 'r', 'v', 0, 0, 6, 'c', 'o', 'n', 'n', '_', '1'}},
      {"savepoint", "", "SQ_SQLISETSVPT", {0, 5, 's', 'a', 'v', 'e', '1', 0}},
      {"dbopen", "", "SQ_DBOPEN", {0, 4, 'd', 'b', '_', '1', 0, 1}},
  };
  for (const Split& c : cases) {
    SCOPED_TRACE(c.name);
    std::string whole = std::string(c.before) + "SC 5 { msg " + c.type + " " +
                        hexItems(c.body, 0, c.body.size()) + " }\n";
    test::Harness one(whole);
    std::string expected = messageLines(decodeAll(one));
    ASSERT_NE(expected.find('\t'), std::string::npos);
    // Packets of even length only: the first one holds the 2-byte type.
    for (size_t at = 2; at < c.body.size(); at += 2) {
      SCOPED_TRACE(at);
      std::string split = std::string(c.before) + "SC 5 { msg " + c.type + " " +
                          hexItems(c.body, 0, at) + " }\nSC 6 { " +
                          hexItems(c.body, at, c.body.size()) + " }\n";
      test::Harness two(split);
      EXPECT_EQ(messageLines(decodeAll(two)), expected);
    }
  }
}

}  // namespace
}  // namespace wp
