// The capability reset an internal version causes, and the vectors the
// capability exchange leaves behind.
#include <gtest/gtest.h>

#include <string>

#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

std::string bytes(const CapVector& v, int n = CapVector::kBytes) {
  static const char kHex[] = "0123456789abcdef";
  std::string s;
  for (int i = 0; i < n; ++i) {
    if (i) s += ' ';
    s += kHex[v.b[i] >> 4];
    s += kHex[v.b[i] & 15];
  }
  return s;
}

std::string zeros(int n) {
  std::string s;
  for (int i = 0; i < n; ++i) s += i ? " 00" : "00";
  return s;
}

TEST(SessionCaps, InternalVersionResetTable) {
  struct Row {
    int16_t version;
    const char* first3;  // bytes 0..2 of the set in force
    int32_t floatType;
    int32_t exchanges;
  } rows[] = {
      {0, "00 00 00", 0, 2},   {299, "00 00 00", 0, 2}, {300, "3c 00 00", 0, 2},
      {301, "3c 00 00", 0, 2}, {302, "3c 00 00", 0, 2}, {303, "3c 80 00", 0, 2},
      {304, "3c a0 00", 0, 2}, {305, "3c b0 00", 1, 2}, {306, "3c b8 00", 1, 2},
      {307, "3c bc 00", 1, 2}, {308, "3c be 00", 1, 2}, {309, "3c bf 00", 1, 2},
      {310, "3c bf 80", 1, 2}, {311, "00 00 00", 1, 2}, {316, "00 00 00", 1, 0},
      {-2, "00 00 00", 0, 2},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.version);
    Capabilities c;
    // Left-overs of an earlier exchange go, whatever the version.
    c.client_protocolver.b[3] = 0x11;
    c.co_sprotocolver.b[16] = 0x22;
    c.sub_sprotocolver.b[9] = 0x33;
    c.protocolver.b[12] = 0x44;
    c.setInternalVersion(r.version);
    EXPECT_EQ(bytes(c.protocolver, 3), r.first3);
    EXPECT_EQ(bytes(c.protocolver).substr(9), zeros(14));
    EXPECT_EQ(bytes(c.sub_sprotocolver), bytes(c.protocolver));
    EXPECT_EQ(bytes(c.client_protocolver), zeros(17));
    EXPECT_EQ(bytes(c.co_sprotocolver), zeros(17));
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
  c.transFloatType = 0;
  c.setInternalVersion(310);
  EXPECT_EQ(c.protocolver.b[5], 0x07);
  EXPECT_EQ(c.numof_sqprotocols, 9);
  EXPECT_EQ(c.transFloatType, 0);

  // 305 with a set in force (byte 0 non-zero) changes nothing but the
  // remembered version...
  c.setInternalVersion(305);
  EXPECT_EQ(bytes(c.protocolver, 3), "3c bf 80");
  EXPECT_EQ(c.previnternalver, 305);
  EXPECT_EQ(c.internalver, 305);
  // ...so a following 310 is a change again and resets.
  c.setInternalVersion(310);
  EXPECT_EQ(c.protocolver.b[5], 0x00);
  EXPECT_EQ(c.numof_sqprotocols, 2);

  // 305 with nothing in force takes its table row.
  Capabilities fresh;
  fresh.setInternalVersion(305);
  EXPECT_EQ(bytes(fresh.protocolver, 3), "3c b0 00");

  // The remembered version starts at -1: a first -1 is no change.
  Capabilities minus;
  minus.co_sprotocolver.b[0] = 0x55;
  minus.setInternalVersion(-1);
  EXPECT_EQ(minus.co_sprotocolver.b[0], 0x55);
  EXPECT_EQ(minus.numof_sqprotocols, 0);
}

// Runs every packet of the trace through the message loop.
std::string decodeAll(test::Harness& h) {
  EXPECT_TRUE(h.header());
  while (h.next() == 0) printpacket(h.run());
  return h.listing();
}

TEST(SessionCaps, ClientExchangeAfter316NarrowsTheSetInForce) {
  test::Harness h(
      "SC 1 { msg SQ_INTERNALVER short 316 }\n"
      "CS 2 { msg SQ_PROTOCOLS short 4 hex ff 0f 81 04 }\n"
      "SC 3 { msg SQ_PROTOCOLS short 6 hex 3c ff 01 06 77 04 }\n");
  decodeAll(h);
  Capabilities& c = h.run().caps;
  EXPECT_EQ(c.numof_sqprotocols, 2);
  EXPECT_EQ(bytes(c.client_protocolver, 6), "ff 0f 81 04 00 00");
  EXPECT_EQ(bytes(c.co_sprotocolver, 6), "ff 0f 81 04 00 00");
  // The answer, then only what both offered.
  EXPECT_EQ(bytes(c.sub_sprotocolver, 8), "3c 0f 01 04 00 00 00 00");
  EXPECT_EQ(bytes(c.protocolver), bytes(c.sub_sprotocolver));
  EXPECT_FALSE(h.run().dec.isReply(126));
  EXPECT_TRUE(c.protocolver.has(3, 0x04));
  EXPECT_FALSE(c.protocolver.has(4, 0x77));
}

TEST(SessionCaps, CoordinatorExchangeLeavesTheSetInForce) {
  test::Harness h(
      "SC 1 { msg SQ_INTERNALVER short 310 }\n"
      "CS 2 { msg SQ_PROTOCOLS short 2 hex ff ff }\n"
      "SC 3 { msg SQ_PROTOCOLS short 2 hex 01 80 }\n");
  decodeAll(h);
  Capabilities& c = h.run().caps;
  EXPECT_EQ(c.numof_sqprotocols, 4);
  EXPECT_EQ(bytes(c.protocolver, 4), "3c bf 80 00");
  EXPECT_EQ(bytes(c.client_protocolver), zeros(17));
  EXPECT_EQ(bytes(c.sub_sprotocolver, 3), "01 80 00");
}

TEST(SessionCaps, LongStreamIsListedWholeButStoredInSixteenBytes) {
  // 20 bytes each way: every byte is listed and the next message decodes in
  // step, but the vectors keep 16 bytes and the closing 0.
  std::string offer = "hex", answer = "hex";
  for (int i = 0; i < 20; ++i) {
    char b[8];
    snprintf(b, sizeof b, " %02x", 0xe0 + i);
    offer += b;
    snprintf(b, sizeof b, " %02x", 0xff - i);
    answer += b;
  }
  test::Harness h(
      "SC 1 { msg SQ_INTERNALVER short 316 }\n"
      "CS 2 { msg SQ_PROTOCOLS short 20 " +
      offer +
      " }\n"
      "SC 3 { msg SQ_PROTOCOLS short 20 " +
      answer + " msg SQ_NLS short 42 }\n");
  std::string out = decodeAll(h);
  EXPECT_NE(out.find("\t\t byte[19] = f3\n\nS->C"), std::string::npos) << out;
  EXPECT_NE(out.find("\t\t byte[19] = ec\n\tSQ_NLS\n\t\t42\n"), std::string::npos) << out;
  Capabilities& c = h.run().caps;
  EXPECT_EQ(c.co_sprotocolver.b[15], 0xef);
  EXPECT_EQ(c.co_sprotocolver.b[16], 0x00);
  EXPECT_EQ(c.client_protocolver.b[15], 0xef);
  EXPECT_EQ(c.sub_sprotocolver.b[0], 0xff & 0xe0);
  EXPECT_EQ(c.sub_sprotocolver.b[15], 0xf0 & 0xef);
  EXPECT_EQ(c.sub_sprotocolver.b[16], 0x00);
}

TEST(SessionCaps, EmptyStreamEndsTheVectorAtItsStart) {
  test::Harness h(
      "SC 1 { msg SQ_INTERNALVER short 316 }\n"
      "CS 2 { msg SQ_PROTOCOLS short 3 hex 11 22 33 pad }\n"
      "SC 3 { msg SQ_PROTOCOLS short 3 hex 11 22 33 pad }\n"
      "CS 4 { msg SQ_PROTOCOLS short 0 }\n"
      "SC 5 { msg SQ_PROTOCOLS short -4 }\n");
  std::string out = decodeAll(h);
  EXPECT_NE(out.find(" Coordinator protocol stream len = 0\n"), std::string::npos) << out;
  EXPECT_NE(out.find(" Subordinator protocol stream len = -4\n"), std::string::npos) << out;
  Capabilities& c = h.run().caps;
  EXPECT_EQ(c.co_sprotocolver.b[0], 0x00);
  EXPECT_EQ(c.co_sprotocolver.b[1], 0x22);  // only the end moved
  EXPECT_EQ(c.sub_sprotocolver.b[0], 0x00);
  // The exchange of the client stays in force after coordinator exchanges.
  EXPECT_EQ(bytes(c.protocolver, 4), "11 22 33 00");
}

}  // namespace
}  // namespace wp
