// Adaptive time buckets of round trips and their latencies.
#include "analysis/timeline.h"

#include <algorithm>
#include <cmath>

namespace wp::analysis {

Timeline::Bucket& Timeline::at(double start) {
  if (!std::isfinite(start)) start = 0;
  if (!started_) {
    started_ = true;
    origin_ = std::floor(start);
  }
  // Clocks that step back land in the first bucket.
  double off = start > origin_ ? start - origin_ : 0;
  while (off / width_ >= static_cast<double>(kMaxBuckets)) halve();
  auto i = static_cast<size_t>(off / width_);
  if (i >= buckets_.size()) buckets_.resize(i + 1);
  return buckets_[i];
}

void Timeline::add(double start, double latency) {
  Bucket& b = at(start);
  ++b.trips;
  if (latency >= 0) {
    if (!b.latency) b.latency = std::make_unique<LogHistogram>();
    b.latency->add(latency);
  }
}

void Timeline::merge(const Timeline& o) {
  if (!o.started_) return;
  // A trace that began earlier moves the origin back: everything is placed
  // again from the earlier one, at the wider of the two widths.
  Timeline into;
  into.started_ = true;
  into.origin_ = started_ ? std::min(origin_, o.origin_) : o.origin_;
  into.width_ = std::max(started_ ? width_ : 1.0, o.width_);
  for (const Timeline* t : {static_cast<const Timeline*>(this), &o}) {
    for (size_t i = 0; i < t->buckets_.size(); ++i) {
      const Bucket& from = t->buckets_[i];
      if (!from.trips) continue;
      Bucket& to = into.at(t->origin_ + static_cast<double>(i) * t->width_);
      to.trips += from.trips;
      if (!from.latency) continue;
      if (!to.latency) to.latency = std::make_unique<LogHistogram>();
      to.latency->merge(*from.latency);
    }
  }
  *this = std::move(into);
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
