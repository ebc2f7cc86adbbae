#include "driver/threads.h"

#include <gtest/gtest.h>

namespace wp {
namespace {

TEST(Threads, FirstKeyIsStoredInEntryZero) {
  Threads t;
  t.reset();
  t.select(7);
  EXPECT_EQ(t.cur, &t.tab[0]);
  EXPECT_EQ(t.tab[0].key, 7);
  EXPECT_EQ(t.tab[0].stmtid, 0);
}

TEST(Threads, NewKeysTakeFreeEntriesAndOldOnesComeBack) {
  Threads t;
  t.reset();
  t.select(7);
  t.select(9);
  EXPECT_EQ(t.cur->index, 1);
  EXPECT_EQ(t.cur->stmtid, -1);
  t.select(7);
  EXPECT_EQ(t.cur->index, 0);
}

TEST(Threads, ActiveConnectionOfTheThreadWins) {
  Threads t;
  t.reset();
  t.select(7);
  t.select(9);
  // A second entry of thread 7 holding its current connection.
  t.tab[2].inuse = 1;
  t.tab[2].index = 2;
  t.tab[2].key = 7;
  t.tab[2].active = 1;
  t.select(7);
  EXPECT_EQ(t.cur->index, 2);
}

TEST(Threads, FreedEntryZeroIsTakenFirst) {
  Threads t;
  t.reset();
  t.select(7);
  t.select(9);
  t.tab[0] = ThreadEntry{};
  t.select(11);
  EXPECT_EQ(t.cur->index, 0);
  EXPECT_EQ(t.cur->key, 11);
}

TEST(Threads, FullTableReusesTheLastEntry) {
  Threads t;
  t.reset();
  for (int k = 1; k <= 64; ++k) t.select(k);
  EXPECT_EQ(t.cur->index, 63);
  t.tab[63].stmtid = 5;
  t.select(1000);
  EXPECT_EQ(t.cur->index, 63);
  EXPECT_EQ(t.cur->key, 1000);
  EXPECT_EQ(t.cur->stmtid, -1);
  t.select(5);
  EXPECT_EQ(t.cur->index, 4);
}

}  // namespace
}  // namespace wp
