// The capability reset an internal version causes, and the vectors an
// exchange leaves behind (what they do to the decoding is in golden tests).
#include <gtest/gtest.h>

#include <string>

#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

// The first n bytes of a vector in hex, blank-separated.
std::string bytes(const CapVector& v, int n = CapVector::kBytes) {
  std::string s;
  char b[4];
  for (int i = 0; i < n; ++i) {
    snprintf(b, sizeof b, i ? " %02x" : "%02x", v.b[i]);
    s += b;
  }
  return s;
}

const std::string kZeros = bytes(CapVector{});

TEST(SessionCaps, InternalVersionResetTable) {
  struct Row {
    int16_t version;
    const char* first3;  // bytes 0..2 of the set in force; the rest are 0
    int32_t floatType, exchanges;
  } rows[] = {
      {0, "00 00 00", 0, 2},   {299, "00 00 00", 0, 2}, {300, "3c 00 00", 0, 2},
      {302, "3c 00 00", 0, 2}, {303, "3c 80 00", 0, 2}, {304, "3c a0 00", 0, 2},
      {305, "3c b0 00", 1, 2}, {306, "3c b8 00", 1, 2}, {307, "3c bc 00", 1, 2},
      {308, "3c be 00", 1, 2}, {309, "3c bf 00", 1, 2}, {310, "3c bf 80", 1, 2},
      {311, "00 00 00", 1, 2}, {316, "00 00 00", 1, 0}, {-2, "00 00 00", 0, 2},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.version);
    Capabilities c;
    // Left-overs of an earlier exchange go, whatever the version.
    c.client_protocolver.b[3] = c.co_sprotocolver.b[16] = c.sub_sprotocolver.b[9] = 0x11;
    c.protocolver.b[12] = 0x44;
    c.setInternalVersion(r.version);
    EXPECT_EQ(bytes(c.protocolver), r.first3 + kZeros.substr(8));
    EXPECT_EQ(bytes(c.sub_sprotocolver), bytes(c.protocolver));
    EXPECT_EQ(bytes(c.client_protocolver) + bytes(c.co_sprotocolver), kZeros + kZeros);
    EXPECT_EQ(c.transFloatType, r.floatType);
    EXPECT_EQ(c.numof_sqprotocols, r.exchanges);
    EXPECT_EQ(c.internalver, r.version);
    EXPECT_EQ(c.previnternalver, r.version);
  }
}

TEST(SessionCaps, RepeatedVersionAnd305KeepTheSetInForce) {
  Capabilities c;
  c.setInternalVersion(310);
  c.protocolver.b[5] = 0x07;  // as if an exchange had added bits
  c.numof_sqprotocols = 9;
  c.setInternalVersion(310);
  EXPECT_EQ(c.protocolver.b[5], 0x07);
  EXPECT_EQ(c.numof_sqprotocols, 9);
  // 305 with a set in force changes nothing but the remembered version, so a
  // following 310 is a change again and resets.
  c.setInternalVersion(305);
  EXPECT_EQ(bytes(c.protocolver, 3), "3c bf 80");
  EXPECT_EQ(c.previnternalver, 305);
  c.setInternalVersion(310);
  EXPECT_EQ(c.protocolver.b[5], 0x00);
  EXPECT_EQ(c.numof_sqprotocols, 2);
  // The remembered version starts at -1: a first -1 is no change.
  Capabilities minus;
  minus.co_sprotocolver.b[0] = 0x55;
  minus.setInternalVersion(-1);
  EXPECT_EQ(minus.co_sprotocolver.b[0], 0x55);
}

// An exchange after 316 is the client's and sets the vector in force to what
// both offered; after another version it is between coordinator and
// subordinator and leaves it. Streams are stored up to 16 bytes and end with
// a 0 byte at their length (also a length of 0 or less: at the start).
TEST(SessionCaps, ExchangesLeaveTheirVectors) {
  std::string up20 = "hex", down20 = "hex";
  for (int i = 0; i < 20; ++i) {
    char b[8];
    snprintf(b, sizeof b, " %02x", 0xe0 + i);
    up20 += b;
    snprintf(b, sizeof b, " %02x", 0xff - i);
    down20 += b;
  }
  struct Row {
    const char* what;
    std::string records;
    int exchanges;
    std::string inForce, client, co, sub;  // leading bytes; the rest are 0
  } rows[] = {
      {"client",
       "SC 1 { msg SQ_INTERNALVER short 316 }\nCS 2 { msg SQ_PROTOCOLS short 4 hex ff0f8104 }\n"
       "SC 3 { msg SQ_PROTOCOLS short 6 hex 3cff01067704 }\n",
       2, "3c 0f 01 04", "ff 0f 81 04", "ff 0f 81 04", "3c 0f 01 04"},
      {"coordinator",
       "SC 1 { msg SQ_INTERNALVER short 310 }\nCS 2 { msg SQ_PROTOCOLS short 2 hex ffff }\n"
       "SC 3 { msg SQ_PROTOCOLS short 2 hex 0180 }\n",
       4, "3c bf 80", "", "ff ff", "01 80"},
      {"20 bytes",
       "SC 1 { msg SQ_INTERNALVER short 316 }\nCS 2 { msg SQ_PROTOCOLS short 20 " + up20 +
           " }\nSC 3 { msg SQ_PROTOCOLS short 20 " + down20 + " }\n",
       2, "e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0",
       "e0 e1 e2 e3 e4 e5 e6 e7 e8 e9 ea eb ec ed ee ef",
       "e0 e1 e2 e3 e4 e5 e6 e7 e8 e9 ea eb ec ed ee ef",
       "e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0 e0"},
      {"empty streams",
       "SC 1 { msg SQ_INTERNALVER short 316 }\nCS 2 { msg SQ_PROTOCOLS short 4 hex 11223344 }\n"
       "SC 3 { msg SQ_PROTOCOLS short 4 hex 11223344 }\nCS 4 { msg SQ_PROTOCOLS short 0 }\n"
       "SC 5 { msg SQ_PROTOCOLS short -4 }\n",
       4, "11 22 33 44", "11 22 33 44", "00 22 33 44", "00 22 33 44"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.what);
    test::Harness h(r.records);
    ASSERT_TRUE(h.header());
    while (h.next() == 0) printpacket(h.run());
    const Capabilities& c = h.run().caps;
    auto padded = [](const std::string& lead) {
      return lead.empty() ? kZeros : lead + kZeros.substr(lead.size());
    };
    EXPECT_EQ(c.numof_sqprotocols, r.exchanges);
    EXPECT_EQ(bytes(c.protocolver), padded(r.inForce));
    EXPECT_EQ(bytes(c.client_protocolver), padded(r.client));
    EXPECT_EQ(bytes(c.co_sprotocolver), padded(r.co));
    EXPECT_EQ(bytes(c.sub_sprotocolver), padded(r.sub));
    EXPECT_FALSE(h.run().dec.isReply(126));
  }
}

}  // namespace
}  // namespace wp
