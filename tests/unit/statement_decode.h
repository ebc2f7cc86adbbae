// Decodes a whole described trace with chosen capability bits and options,
// and gives the listing with each packet header shortened to "[CS n]".
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <regex>
#include <string>

#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"

namespace wp::test {

inline void setBits(CapVector& v, std::initializer_list<int> bits) {
  for (int bit : bits) v.b[bit / 8] |= static_cast<uint8_t>(1u << (bit % 8));
}

class Decode {
 public:
  // `records` are tracec records after the header; `bits` go into protocolver.
  explicit Decode(const std::string& records, std::initializer_list<int> bits = {}) : h_(records) {
    setBits(h_.run().caps.protocolver, bits);
  }

  Run& run() { return h_.run(); }
  Options& opt() { return h_.run().opt; }
  Capabilities& caps() { return h_.run().caps; }

  // Decodes every packet; returns the exit status (1 when a message could not
  // be completed from the trace).
  int all() {
    if (!h_.header()) return 0;
    try {
      while (h_.next() == 0) printpacket(h_.run());
    } catch (const Exit& e) {
      return e.status;
    }
    return 0;
  }

  // Decodes the next packet; false at the end of the trace.
  bool packet() {
    if (!started_ && !h_.header()) return false;
    started_ = true;
    if (h_.next() != 0) return false;
    printpacket(h_.run());
    return true;
  }

  // The listing without the version line, packet headers as "[CS n]".
  std::string listing() {
    std::string s = h_.listing();
    s = std::regex_replace(s, std::regex("^SQLIDBG Version \\d+\n"), "");
    return std::regex_replace(s, std::regex("\n([CS])->([CS]) \\((-?\\d+)\\)\t[^\n]*\n"),
                              "[$1$2 $3]\n");
  }

  // Decodes and returns the listing.
  std::string operator()() {
    all();
    return listing();
  }

 private:
  Harness h_;
  bool started_ = false;
};

}  // namespace wp::test
