#include "driver/msgtable.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace wp {
namespace {

TEST(MessageTable, NamesAtTheEdges) {
  EXPECT_STREQ(sqmsgname(0), "UNKNOWN");
  EXPECT_STREQ(sqmsgname(140), "UNKNOWN");
  EXPECT_STREQ(sqmsgname(-1), "UNKNOWN");
  EXPECT_STREQ(sqmsgname(1), "SQ_COMMAND");
  EXPECT_STREQ(sqmsgname(95), "SQ_MIG");
  EXPECT_STREQ(sqmsgname(139), "SQ_SQLIRBACKSVPT");
  EXPECT_EQ(sqmsgflag(-1), 0);
  EXPECT_EQ(sqmsgflag(1), 3);
  EXPECT_EQ(sqmsgflag(140), 0);
}

TEST(MessageTable, FlagCountsAndUniqueNames) {
  std::map<int, int> byFlag{{0, 1}};  // entry 0 counts as flag 0
  std::set<std::string> names;
  for (int t = 1; t < kNumTypes; ++t) {
    ++byFlag[kMessages[t].flag];
    ASSERT_NE(kMessages[t].name, nullptr) << t;
    EXPECT_EQ(std::string(kMessages[t].name).rfind("SQ_", 0), 0u) << t;
    names.insert(kMessages[t].name);
  }
  EXPECT_EQ(names.size(), 139u);
  EXPECT_EQ(byFlag[0], 78);
  EXPECT_EQ(byFlag[1], 29);
  EXPECT_EQ(byFlag[2], 10);
  EXPECT_EQ(byFlag[3], 23);
}

TEST(MessageTable, OnlyTheInvalidTypesLackADecoder) {
  for (int t = 0; t < kNumTypes; ++t) {
    bool invalid = t == 0 || t == 95 || t == 96;
    EXPECT_EQ(kMessages[t].decode == nullptr, invalid) << t;
  }
}

// Spot checks of rows that are easy to mistype.
TEST(MessageTable, SelectedRows) {
  struct Row {
    int type;
    const char* name;
    int flag;
  } rows[] = {{38, "SQ_FETCHBLOB", 3}, {40, "SQ_FERR", 2},         {76, "SQ_REMPPERMS", 1},
              {87, "SQ_REOPTOPEN", 3}, {110, "SQ_INTERNALVER", 0}, {124, "SQ_CIDESCRIBE", 3},
              {133, "SQ_VPUT", 3},     {136, "SQ_SGKTUPLE", 2}};
  for (const Row& r : rows) {
    EXPECT_STREQ(sqmsgname(r.type), r.name);
    EXPECT_EQ(sqmsgflag(r.type), r.flag) << r.name;
  }
}

}  // namespace
}  // namespace wp
