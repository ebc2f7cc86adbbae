#include <gtest/gtest.h>

#include "messages/state.h"

namespace wp {
namespace {

TEST(SessionDirection, ToggleAlternatesPerTypeAndClearResetsAll) {
  DecoderState d;
  EXPECT_FALSE(d.toggle(126));  // request
  EXPECT_TRUE(d.isReply(126));
  EXPECT_FALSE(d.isReply(123));  // other types keep their own flag
  EXPECT_TRUE(d.toggle(126));    // reply
  EXPECT_FALSE(d.isReply(126));
  d.setReply(109, true);
  d.setReply(139, true);
  d.setReply(0, true);
  d.clearDirections();
  for (int t = 0; t < kNumTypes; ++t) EXPECT_FALSE(d.isReply(t)) << t;
}

TEST(SessionDirection, TypesOutsideTheTableHaveNoFlag) {
  DecoderState d;
  d.setReply(140, true);
  d.setReply(-1, true);
  EXPECT_FALSE(d.isReply(140));
  EXPECT_FALSE(d.isReply(-1));
  EXPECT_FALSE(d.toggle(-32768));
  EXPECT_FALSE(d.isReply(-32768));
  for (int t = 0; t < kNumTypes; ++t) EXPECT_EQ(d.direction[t], 0) << t;
}

}  // namespace
}  // namespace wp
