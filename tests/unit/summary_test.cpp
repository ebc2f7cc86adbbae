// The summary's command list and feature counters.
#include "stats/summary.h"

#include <gtest/gtest.h>

#include <string>

#include "driver/run.h"
#include "harness.h"

namespace wp {
namespace {

using test::Harness;

// The lines of the summary between two markers (both excluded).
std::string between(const std::string& text, const std::string& from, const std::string& to) {
  size_t a = text.find(from);
  EXPECT_NE(a, std::string::npos) << from;
  a += from.size();
  size_t b = text.find(to, a);
  EXPECT_NE(b, std::string::npos) << to;
  return text.substr(a, b - a);
}

const std::string kListHead =
    "where a = 'P'repare, or 'N'ot prepared, and b = length of command string\n" +
    std::string(71, '-') + "\n";
const std::string kListEnd = std::string(71, '-') + "\n\n" + std::string(71, '=') + "\n";

TEST(CommandList, FirstNinetyNineTextsCutTo59Bytes) {
  Harness h("");
  wp::Run& run = h.run();
  std::string t59(59, 'a'), t60 = std::string(59, 'b') + "c", t61 = std::string(60, 'd') + "e";
  recordCommand(run, "select 1", 8, 0);
  recordCommand(run, t59.c_str(), 59, 1);
  recordCommand(run, t60.c_str(), 60, 1);
  recordCommand(run, t61.c_str(), 61, 0);
  recordCommand(run, "", 0, 0);
  for (int i = 5; i < 99; ++i) recordCommand(run, "x", 1, 1);
  recordCommand(run, "the hundredth", 13, 0);  // not recorded
  EXPECT_EQ(run.cmds.count, 99);
  printSummary(run);
  std::string list = between(h.listing(), kListHead, kListEnd);
  std::string want = "N(    8) CMD[ 0]='select 1'\n";
  want += "P(   59) CMD[ 1]='" + t59 + "'\n";
  want += "P(   60) CMD[ 2]='" + std::string(59, 'b') + "'\n";
  want += "N(   61) CMD[ 3]='" + std::string(59, 'd') + "'\n";
  want += "N(    0) CMD[ 4]=''\n";
  for (int i = 5; i < 99; ++i)
    want += std::string("P(    1) CMD[") + (i < 10 ? " " : "") + std::to_string(i) + "]='x'\n";
  EXPECT_EQ(list, want);
}

TEST(SummaryCounters, EachCounterOnItsLine) {
  Harness h("");
  wp::Run& run = h.run();
  SummaryCounters& s = run.sum;
  s.opt_stats_ptr = 4;
  s.fetarr_sum = 10;
  s.open_saved = 2;
  s.reopt = 3;
  s.prepares = 5;
  s.executes = 6;
  s.selects = 7;
  s.opens = 8;
  s.closes = 9;
  s.put_count = 2;
  s.put_bytes = 5;
  s.fetch_count = 3;
  s.fetch_bytes = 10;
  s.blob_put_count = 0;
  s.blob_put_bytes = 0;
  s.blob_fetch_count = 8;
  s.blob_fetch_bytes = 2;
  s.cs_packets = 11;
  s.sc_packets = 12;
  printSummary(run);
  std::string got = between(h.listing(), kListEnd, ">>>>>>>>>>>>>>> END");
  EXPECT_EQ(got,
            " Fetch Array feature used 4 times, avg array size = 2.500000\n"
            " OPTOFC feture used, and 2 open message saved\n"
            " Number of open/reoptimzation encountered = 3\n"
            " Number of C->S message send = 11\n"
            " Number of S->C message send = 12\n"
            "\n"
            " Number of prepare statements encountered = 5\n"
            " Number of execute statements encountered = 6\n"
            " Number of   singleton select encountered = 7\n"
            " Number of        open cursor encountered = 8\n"
            " Number of       close cursor encountered = 9\n"
            "\n"
            " Number of   non-blob put = 2, averge size of each   put is 2.500000\n"
            " Number of non-blob fetch = 3, averge size of each fetch is 3.333333\n"
            " Number of       blob put = 0, averge size of each   put is 0.000000\n"
            " Number of     blob fetch = 8, averge size of each fetch is 0.250000\n"
            "\n");
}

}  // namespace
}  // namespace wp
