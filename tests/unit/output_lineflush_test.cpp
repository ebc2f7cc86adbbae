// The benchmark's line-flush switch: with it, the listing reaches the file at
// every completed line and at every flush point, and only then; without it,
// nothing is written before the buffer fills or the run ends.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>

#include "driver/output.h"

namespace {

off_t onDisk(FILE* f) {
  struct stat st;
  fstat(fileno(f), &st);
  return st.st_size;
}

TEST(OutputLineFlush, BytesReachTheFileAtLineEndsOnly) {
  FILE* f = tmpfile();
  wp::Output out;
  out.setFile(f);
  out.setLineFlush(true);
  out.printf("%s", "part");
  EXPECT_EQ(onDisk(f), 0);
  out.printf(" %d\n", 1);
  EXPECT_EQ(onDisk(f), 7);
  out.write("ab", 2);
  EXPECT_EQ(onDisk(f), 7);
  out.put('\n');
  EXPECT_EQ(onDisk(f), 10);
  out.write("\nC->S", 5);  // a line ended inside the text
  EXPECT_EQ(onDisk(f), 15);
  out.printf("%s", " (4)");
  out.flush();  // a flush point of the design writes the partial line
  EXPECT_EQ(onDisk(f), 19);
}

TEST(OutputLineFlush, BufferedWritesWaitForSync) {
  FILE* f = tmpfile();
  wp::Output out;
  out.setFile(f);
  out.printf("line %d\n", 1);
  out.write("more\n", 5);
  out.put('\n');
  out.flush();
  EXPECT_EQ(onDisk(f), 0);
  out.sync();
  EXPECT_EQ(onDisk(f), 13);
}

}  // namespace
