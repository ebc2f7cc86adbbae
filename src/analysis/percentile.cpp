// Percentiles of round-trip latencies: exact and histogram-bounded.
#include "analysis/percentile.h"

#include <algorithm>
#include <cmath>

namespace wp::analysis {

double nearestRank(const std::vector<float>& sorted, double p) {
  if (sorted.empty()) return 0;
  double rank = std::ceil(p / 100.0 * static_cast<double>(sorted.size()));
  size_t at = rank < 1 ? 0 : static_cast<size_t>(rank) - 1;
  return sorted[std::min(at, sorted.size() - 1)];
}

int LogHistogram::binOf(double v) {
  if (!(v >= kLow)) return 0;  // also NaN
  double b = std::floor(std::log(v / kLow) / std::log(kRatio)) + 1;
  return b >= kBins - 1 ? kBins - 1 : static_cast<int>(b);
}

double LogHistogram::lowerBound(int b) {
  return kLow * std::pow(kRatio, b - 1);
}

void LogHistogram::add(double v) {
  int b = binOf(v);
  if (bins_[b] < UINT32_MAX) ++bins_[b];
  ++n_;
  if (v > max_) max_ = v;
}

void LogHistogram::merge(const LogHistogram& o) {
  for (int b = 0; b < kBins; ++b) {
    uint64_t s = uint64_t{bins_[b]} + o.bins_[b];
    bins_[b] = s > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(s);
  }
  n_ += o.n_;
  max_ = std::max(max_, o.max_);
}

double LogHistogram::percentile(double p) const {
  if (n_ == 0) return 0;
  double r = std::ceil(p / 100.0 * static_cast<double>(n_));
  uint64_t rank = r < 1 ? 1 : static_cast<uint64_t>(r);
  uint64_t seen = 0;
  for (int b = 0; b < kBins; ++b) {
    seen += bins_[b];
    if (seen < rank) continue;
    if (b == 0) return 0;
    if (b == kBins - 1) return max_;
    // The geometric middle, never beyond the largest value seen.
    return std::min(lowerBound(b) * std::sqrt(kRatio), max_);
  }
  return max_;
}

}  // namespace wp::analysis
