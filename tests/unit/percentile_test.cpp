// Latency percentiles against a brute-force count, the bounded histogram's
// error, the timeline's bucket merging, and the report's charts.
#include "analysis/percentile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "analysis/timeline.h"
#include "report/svg.h"

namespace wp::analysis {
namespace {

// The definition itself: the smallest value v with at least p% of all values
// at or below v.
double bruteForce(const std::vector<float>& v, double p) {
  double best = INFINITY;
  for (float c : v) {
    size_t atOrBelow = 0;
    for (float x : v) atOrBelow += x <= c;
    if (static_cast<double>(atOrBelow) * 100 >= p * static_cast<double>(v.size()))
      best = std::min(best, static_cast<double>(c));
  }
  return best;
}

TEST(Percentile, NearestRankMatchesBruteForce) {
  std::mt19937_64 rng(7);
  for (size_t n : {1, 2, 3, 7, 19, 20, 21, 100, 101, 997}) {
    std::vector<float> v(n);
    // Log-normal latencies with ties: rounded to 10 microseconds.
    std::lognormal_distribution<double> d(-6, 2);
    for (float& x : v) x = static_cast<float>(std::round(d(rng) * 1e5) / 1e5);
    std::vector<float> sorted = v;
    std::sort(sorted.begin(), sorted.end());
    for (double p : {1.0, 50.0, 90.0, 95.0, 99.0, 99.9, 100.0})
      EXPECT_EQ(nearestRank(sorted, p), bruteForce(v, p)) << "n " << n << " p " << p;
  }
  EXPECT_EQ(nearestRank({}, 50), 0);
}

TEST(Percentile, SmallCasesByHand) {
  std::vector<float> v = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  EXPECT_EQ(nearestRank(v, 50), 5);   // rank 5
  EXPECT_EQ(nearestRank(v, 51), 6);   // rank ceil(5.1) = 6
  EXPECT_EQ(nearestRank(v, 95), 10);  // rank ceil(9.5) = 10
  EXPECT_EQ(nearestRank(v, 10), 1);
}

TEST(Percentile, HistogramWithinOnePercent) {
  std::mt19937_64 rng(11);
  std::lognormal_distribution<double> d(-5, 2.5);
  for (int round = 0; round < 20; ++round) {
    std::vector<float> v(static_cast<size_t>(1 + rng() % 5000));
    LogHistogram h;
    for (float& x : v) {
      x = static_cast<float>(std::clamp(d(rng), 1e-6, 9e3));
      h.add(x);
    }
    std::sort(v.begin(), v.end());
    for (double p : {50.0, 95.0, 99.0, 100.0}) {
      double exact = nearestRank(v, p), approx = h.percentile(p);
      EXPECT_LE(std::abs(approx - exact), 0.01 * exact) << "p " << p << " exact " << exact;
    }
  }
}

TEST(Percentile, HistogramEdges) {
  LogHistogram h;
  EXPECT_EQ(h.percentile(95), 0);
  h.add(0);
  h.add(5e-7);
  EXPECT_EQ(h.percentile(100), 0);  // under the clock's resolution
  h.add(2e4);                       // past the top bin
  EXPECT_EQ(h.percentile(100), 2e4);
  EXPECT_EQ(LogHistogram::binOf(1e-6), 1);
  EXPECT_EQ(LogHistogram::binOf(1.0199e-6), 1);
  EXPECT_EQ(LogHistogram::binOf(1.0201e-6), 2);
  EXPECT_EQ(LogHistogram::binOf(NAN), 0);
  EXPECT_EQ(LogHistogram::binOf(1e300), LogHistogram::kBins - 1);
}

// One-second buckets until the trace outgrows kMaxBuckets, then pairs merge:
// no round trip is lost and each lands in the bucket of its time.
TEST(Timeline, BucketsWidenAndKeepEveryTrip) {
  Timeline t;
  t.add(1000.5, 0.001);
  t.add(1001.2, -1);
  ASSERT_EQ(t.width(), 1);
  ASSERT_EQ(t.buckets().size(), 2u);
  EXPECT_EQ(t.buckets()[1].trips, 1u);
  EXPECT_FALSE(t.buckets()[1].latency);                  // no reply: no latency
  t.add(1000 + 3 * Timeline::kMaxBuckets + 0.5, 0.002);  // needs width 4
  EXPECT_EQ(t.width(), 4);
  uint64_t total = 0, latencies = 0;
  for (const auto& b : t.buckets()) {
    total += b.trips;
    latencies += b.latency ? b.latency->count() : 0;
  }
  EXPECT_EQ(total, 3u);
  EXPECT_EQ(latencies, 2u);
  EXPECT_EQ(t.buckets()[0].trips, 2u);
  EXPECT_EQ(t.buckets()[3 * Timeline::kMaxBuckets / 4].trips, 1u);
  t.add(5, 1);  // a clock that steps back: first bucket
  EXPECT_EQ(t.buckets()[0].trips, 3u);
  t.add(1e300, 1);  // absurd time stamps still end in a bounded vector
  EXPECT_LE(t.buckets().size(), Timeline::kMaxBuckets);
}

// Timelines of two traces join from the earlier origin, at the wider width;
// each bucket lands in the one holding its start.
TEST(Timeline, MergeAlignsOriginsAndWidths) {
  auto shape = [](const Timeline& t) {
    std::vector<std::pair<uint64_t, uint64_t>> s;  // trips, latencies per bucket
    for (const auto& b : t.buckets()) s.push_back({b.trips, b.latency ? b.latency->count() : 0});
    return s;
  };
  using Shape = std::vector<std::pair<uint64_t, uint64_t>>;
  Timeline a, b;
  a.add(100.0, 0.01);
  a.add(100.5, 0.02);
  a.add(102.2, -1);
  b.add(98.7, 0.03);
  b.add(101.0, 0.04);
  a.merge(b);
  EXPECT_EQ(a.origin(), 98);
  EXPECT_EQ(a.width(), 1);
  EXPECT_EQ(shape(a), (Shape{{1, 1}, {0, 0}, {2, 2}, {1, 1}, {1, 0}}));

  // 500 s need width 2: the later trace's buckets are re-placed from 999.
  Timeline c, d, empty;
  c.add(1000, 0.5);
  c.add(1500, 0.5);
  ASSERT_EQ(c.width(), 2);
  d.add(999.0, 0.1);
  c.merge(d);
  c.merge(empty);
  EXPECT_EQ(c.origin(), 999);
  EXPECT_EQ(c.width(), 2);
  ASSERT_EQ(c.buckets().size(), 251u);
  EXPECT_EQ(c.buckets()[0].trips, 2u);
  EXPECT_EQ(c.buckets()[0].latency->count(), 2u);
  EXPECT_EQ(c.buckets()[250].trips, 1u);
  // Into an empty one: a copy.
  empty.merge(b);
  EXPECT_EQ(shape(empty), (Shape{{1, 1}, {0, 0}, {0, 0}, {1, 1}}));
}

}  // namespace
}  // namespace wp::analysis

namespace wp::report {
namespace {

TEST(Report, TicksAreRoundAndCoverTheRange) {
  EXPECT_EQ(niceTicks(0, 17, 5), (std::vector<double>{0, 5, 10, 15, 20}));
  EXPECT_EQ(niceTicks(0, 0.9, 4), (std::vector<double>{0, 0.5, 1}));  // steps of 0.225 round up
  EXPECT_EQ(niceTicks(0, 20, 5), (std::vector<double>{0, 5, 10, 15, 20}));
  EXPECT_EQ(niceTicks(0, 0, 5).front(), 0);
}

TEST(Report, EscapesMarkupAndBrokenText) {
  EXPECT_EQ(escapeHtml("a<b & 'c'\"\n"), "a&lt;b &amp; &#39;c&#39;&quot; ");
  EXPECT_EQ(escapeHtml("caf\xc3\xa9"), "caf\xc3\xa9");                            // UTF-8 kept
  EXPECT_EQ(escapeHtml("x\xe9y"), "x\xef\xbf\xbdy");                              // a Latin-1 byte
  EXPECT_EQ(escapeHtml("\xed\xa0\x80"), "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");  // surrogate
  EXPECT_EQ(escapeHtml("\xe2\x82"), "\xef\xbf\xbd\xef\xbf\xbd");                  // cut short
}

TEST(Report, ChartHasItsDataPoints) {
  Chart c;
  c.id = "t";
  c.xTitle = "time (s)";
  c.yTitle = "round trips / s";
  c.xMax = 4;
  c.bars = {{0, 1, 10, "a"}, {1, 2, 20, "b"}, {3, 4, 5, "c"}};
  c.points = {{0.5, 1, "p"}, {1.5, 2, "q"}};
  std::string s = renderChart(c);
  auto count = [&](const std::string& what) {
    size_t n = 0;
    for (size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + 1)) ++n;
    return n;
  };
  EXPECT_EQ(count("<rect class=\"bar\""), 3u);
  EXPECT_EQ(count("<circle class=\"pt\""), 2u);
  EXPECT_EQ(count("<polyline"), 1u);
  // Plot area from x 70 to 940 and y 12 to 194; y axis up to 20.
  EXPECT_NE(s.find("<rect class=\"bar\" x=\"287.5\" y=\"12.0\" width=\"216.5\" height=\"182.0\">"),
            std::string::npos);
  EXPECT_NE(s.find(">time (s)</text>"), std::string::npos);
  EXPECT_NE(s.find(">round trips / s</text>"), std::string::npos);
}

}  // namespace
}  // namespace wp::report
