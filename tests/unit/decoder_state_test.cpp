// Decoder state that no listing can show: toggles asked for types outside
// the table, a request count that would need 32767 messages to reach its
// ceiling, and the bounds of a packet's list of message types.
#include <gtest/gtest.h>

#include "harness.h"
#include "messages/dispatch.h"
#include "messages/state.h"
#include "stats/timing.h"

namespace wp {
namespace {

TEST(DecoderState, TypesOutsideTheTableHaveNoFlag) {
  DecoderState d;
  for (int type : {140, -1, -32768, 65535}) {
    d.setReply(type, true);
    EXPECT_FALSE(d.isReply(type)) << type;
    EXPECT_FALSE(d.toggle(type)) << type;
  }
  for (int t = 0; t < kNumTypes; ++t) EXPECT_EQ(d.direction[t], 0) << t;
}

TEST(DecoderState, FileRequestCountSaturates) {
  // 6 and 5 are requests (each after another operation); 12 is no request.
  test::Harness h("SC { msg SQ_FILE short 6 msg SQ_FILE short 5 msg SQ_FILE short 12 }\n");
  h.run().lob.file_request_num = 32766;
  ASSERT_TRUE(h.header());
  while (h.next() == 0) printpacket(h.run());
  EXPECT_EQ(h.run().lob.file_request_num, 32767);
}

// Types 0 to 140 are recorded (140 lands in the tables' spare slot); the
// rest, compared unsigned, are not. At most 64 distinct types are kept, and
// those already kept still count.
TEST(DecoderState, PacketTypeListBounds) {
  test::Harness h("");
  Timing& t = h.run().timing;
  for (int type : {141, -1, 65535}) store_prev(h.run(), type, 0, 0);
  EXPECT_EQ(t.g_inopr, 0);
  for (int type = 140; type >= 0; --type) store_prev(h.run(), type, 0, 0);
  ASSERT_EQ(t.g_inopr, 64);
  EXPECT_EQ(t.g_prevs[0].type, 140);
  EXPECT_EQ(t.g_prevs[63].type, 77);
  store_prev(h.run(), 100, 0, 0);
  EXPECT_EQ(t.g_prevs[40].count, 2);
  EXPECT_EQ(t.g_inopr, 64);
}

}  // namespace
}  // namespace wp
