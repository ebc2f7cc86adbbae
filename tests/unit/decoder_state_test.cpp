// Decoder state that no listing can show: toggles asked for types outside
// the table, and a request count that would need 32767 messages to reach its
// ceiling.
#include <gtest/gtest.h>

#include "harness.h"
#include "messages/dispatch.h"
#include "messages/state.h"

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

}  // namespace
}  // namespace wp
