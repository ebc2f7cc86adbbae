#include "driver/cursor.h"

#include <gtest/gtest.h>

#include "harness.h"

namespace wp {
namespace {

using test::Harness;

TEST(Cursor, ShortStraddlesTwoPacketsWithTheTailCarried) {
  Harness h("CS { hex 0102 03 }\nCS { hex 04 0506 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  EXPECT_EQ(c.i16(), 0x0102);
  EXPECT_EQ(c.left, 1);
  EXPECT_EQ(c.i16(), 0x0304);  // 03 carried in front of the next packet
  EXPECT_EQ(h.run().rd.packetlen, 4);
  EXPECT_EQ(c.left, 2);
  EXPECT_EQ(c.i16(), 0x0506);
  EXPECT_EQ(c.left, 0);
}

TEST(Cursor, LongStraddlesSeveralTinyPackets) {
  Harness h("CS { hex 80 }\nSC { hex 00 }\nCS { hex 00 }\nSC { hex 01 ff }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  // The refill is repeated, each time carrying what is at hand, until four
  // bytes are there.
  EXPECT_EQ(static_cast<uint32_t>(c.i32()), 0x80000001u);
  EXPECT_EQ(c.left, 1);
}

TEST(Cursor, AnEmptyPacketKeepsTheCarriedBytes) {
  // The carried byte waits for the packet that has data.
  Harness h("CS { hex 80 }\nSC { }\nCS { hex 0102 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  EXPECT_EQ(static_cast<uint16_t>(c.i16()), 0x8001);
  EXPECT_EQ(c.left, 1);
}

TEST(Cursor, GetBytesFollowsPacketsWithNothingCarried) {
  Harness h("CS { text \"abc\" }\nSC { text \"defg\" }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  uint8_t buf[6] = {};
  c.getBytes(5, buf);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), 5), "abcde");
  EXPECT_EQ(c.left, 2);
  EXPECT_EQ(c.getShort(), 'f' << 8 | 'g');
}

TEST(Cursor, RefillAtEndOfFileEndsTheRunWithStatusOne) {
  Harness h("CS { hex 01 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor c(h.run());
  try {
    c.i16();
    FAIL() << "no exit";
  } catch (const Exit& e) {
    EXPECT_EQ(e.status, 1);
  }
}

TEST(Reader, CarriedBytesGoInFrontOfTheNewData) {
  Harness h("CS { hex 0a0b }\nSC { hex 0c }\nCS len=0 { }\nSC len=-3 { }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  const uint8_t tail[] = {0xaa, 0xbb};
  ASSERT_EQ(getpacket(h.run(), tail, 2), 0);
  auto& rd = h.run().rd;
  ASSERT_EQ(rd.packetlen, 3);
  EXPECT_EQ(rd.packet[0], 0xaa);
  EXPECT_EQ(rd.packet[1], 0xbb);
  EXPECT_EQ(rd.packet[2], 0x0c);
  // Zero and negative lengths: nothing is read and packetlen is the length;
  // the carried bytes still stand at the start of the buffer.
  ASSERT_EQ(getpacket(h.run(), tail, 2), 0);
  EXPECT_EQ(rd.packetlen, 0);
  EXPECT_EQ(rd.packet[0], 0xaa);
  ASSERT_EQ(getpacket(h.run(), nullptr, 0), 0);
  EXPECT_EQ(rd.packetlen, -3);
  EXPECT_EQ(getpacket(h.run(), nullptr, 0), -1);
  EXPECT_EQ(rd.g_ipkt, 4);
}

TEST(Reader, CarryFromInsideTheBufferSurvivesItsGrowth) {
  // The second packet is larger than the first buffer, so the buffer grows
  // while the carried bytes still lie in it.
  Harness h("CS { hex 01020304 }\nSC { zeros 20000 hex 09 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  auto& rd = h.run().rd;
  ASSERT_EQ(getpacket(h.run(), rd.packet.data() + 1, 3), 0);
  ASSERT_EQ(rd.packetlen, 20004);
  EXPECT_EQ(rd.packet[0], 2);
  EXPECT_EQ(rd.packet[2], 4);
  EXPECT_EQ(rd.packet[20003], 9);
}

TEST(Reader, MarkersAreCountedAndForksReturnThePacketUnchanged) {
  Harness h("CS { hex 0b0c }\nMT \"12\"\nCF 5\nSC { }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  ASSERT_EQ(h.next(), 0);  // MT is passed over, CF returns
  auto& rd = h.run().rd;
  EXPECT_EQ(rd.g_ipkt, 3);
  EXPECT_EQ(rd.packetlen, 2);
  EXPECT_EQ(rd.packet[0], 0x0b);
  EXPECT_EQ(h.run().thr.cur->key, 12);
  EXPECT_EQ(h.run().sum.cs_packets, 2);
  EXPECT_EQ(h.run().sum.sc_packets, 1);
  EXPECT_EQ(h.listing(),
            "SQLIDBG Version 7\n\nC->S (2)\t\t\t\n\nCLIENT THREAD OSTCB ADDRESS: 0x12\n\n"
            "C->F  FORKED PROCESS 5\n");
}

}  // namespace
}  // namespace wp
