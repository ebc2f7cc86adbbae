// Round trips per time bucket for the report's timeline. Buckets start one
// second wide; when a trace would need more than kMaxBuckets of them, pairs
// merge and the width doubles, so memory stays bounded however long the trace.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "analysis/percentile.h"

namespace wp::analysis {

class Timeline {
 public:
  static constexpr size_t kMaxBuckets = 400;

  struct Bucket {
    uint64_t trips = 0;
    std::unique_ptr<LogHistogram> latency;  // of the replied ones
  };

  // A round trip starting at `start` (seconds); latency < 0 when unreplied.
  void add(double start, double latency);
  // Adds another trace's buckets: each lands, whole, in the bucket that holds
  // its start, so widths and origins need not agree.
  void merge(const Timeline& o);

  double origin() const { return origin_; }
  double width() const { return width_; }
  const std::vector<Bucket>& buckets() const { return buckets_; }

 private:
  void halve();
  Bucket& at(double start);

  bool started_ = false;
  double origin_ = 0, width_ = 1;
  std::vector<Bucket> buckets_;
};

}  // namespace wp::analysis
