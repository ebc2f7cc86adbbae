// A fresh run over a trace given as a tracec description, with the listing
// captured in memory.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "driver/reader.h"
#include "driver/run.h"
#include "tracec.h"

namespace wp::test {

class Harness {
 public:
  // `body` is the description after the header (records, or raw items).
  explicit Harness(const std::string& body, const std::string& header = "header 7\n") {
    tracec::Result r = tracec::compile(header + body);
    EXPECT_TRUE(r.ok()) << r.error;
    bytes_ = r.bytes;
    run_ = std::make_unique<Run>();
    run_->opt.inpfile = "trace";
    run_->opt.timestamp = 0;
    run_->thr.reset();
    run_->timing.cs_stats.reset();
    run_->timing.sc_stats.reset();
    capture_ = tmpfile();
    run_->out.setFile(capture_);
    run_->rd.file.openMemory(bytes_.data(), bytes_.size());
  }

  Run& run() { return *run_; }
  bool header() { return readHeader(*run_); }
  int next() { return getpacket(*run_, nullptr, 0); }

  // Everything listed so far.
  std::string listing() {
    run_->out.sync();
    std::string s;
    rewind(capture_);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, capture_)) > 0) s.append(buf, n);
    return s;
  }

 private:
  std::vector<uint8_t> bytes_;
  std::unique_ptr<Run> run_;
  FILE* capture_;
};

}  // namespace wp::test
