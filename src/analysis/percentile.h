// Latency percentiles two ways: exact nearest rank over kept values, and a
// bounded logarithmic histogram whose answers are within 1% of the exact one.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace wp::analysis {

// Nearest rank: the smallest value with at least p percent of the values at
// or below it. `sorted` ascending; 0 when empty.
double nearestRank(const std::vector<float>& sorted, double p);

// Latencies in bins whose bounds grow by 2% from 1 microsecond to 10,000
// seconds. A bin answers with its geometric middle, so every answer lies
// within 1% of a value of the bin. Values under a microsecond (below the
// trace clock's resolution) share bin 0 and answer 0; values past the top
// share the last bin and answer the largest value seen.
class LogHistogram {
 public:
  static constexpr double kLow = 1e-6;
  static constexpr double kRatio = 1.02;
  static constexpr int kBins = 1165;

  void add(double v);
  void merge(const LogHistogram& o);
  uint64_t count() const { return n_; }
  double max() const { return max_; }
  // The nearest-rank percentile p (0 < p <= 100), within 1%.
  double percentile(double p) const;

  static int binOf(double v);
  // Lower bound of bin b (b >= 1).
  static double lowerBound(int b);

 private:
  std::array<uint32_t, kBins> bins_{};
  uint64_t n_ = 0;
  double max_ = 0;
};

}  // namespace wp::analysis
