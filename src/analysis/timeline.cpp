// Adaptive time buckets of round trips and their latencies.
#include "analysis/timeline.h"

#include <cmath>

namespace wp::analysis {

void Timeline::add(double start, double latency) {
  if (!std::isfinite(start)) start = 0;
  if (!started_) {
    started_ = true;
    origin_ = std::floor(start);
  }
  // Clocks that step back land in the first bucket.
  double off = start > origin_ ? start - origin_ : 0;
  while (off / width_ >= static_cast<double>(kMaxBuckets)) halve();
  auto at = static_cast<size_t>(off / width_);
  if (at >= buckets_.size()) buckets_.resize(at + 1);
  Bucket& b = buckets_[at];
  ++b.trips;
  if (latency >= 0) {
    if (!b.latency) b.latency = std::make_unique<LogHistogram>();
    b.latency->add(latency);
  }
}

void Timeline::halve() {
  std::vector<Bucket> merged((buckets_.size() + 1) / 2);
  for (size_t i = 0; i < buckets_.size(); ++i) {
    Bucket& from = buckets_[i];
    Bucket& to = merged[i / 2];
    to.trips += from.trips;
    if (!from.latency) continue;
    if (!to.latency)
      to.latency = std::move(from.latency);
    else
      to.latency->merge(*from.latency);
  }
  buckets_.swap(merged);
  width_ *= 2;
}

}  // namespace wp::analysis
