// Decodes a whole described trace with chosen capability bits and options,
// and gives the listing with each packet header shortened to "[CS n]".
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "driver/run.h"
#include "harness.h"
#include "messages/dispatch.h"

namespace wp::test {

inline void setBits(CapVector& v, std::initializer_list<int> bits) {
  for (int bit : bits) v.b[bit / 8] |= static_cast<uint8_t>(1u << (bit % 8));
}

// A packet header "\nC->S (n)\t..." of the listing becomes "[CS n]"; the
// version line goes.
inline std::string shorten(std::string s) {
  if (s.rfind("SQLIDBG Version ", 0) == 0) s.erase(0, s.find('\n') + 1);
  std::string out;
  size_t at = 0;
  while (at < s.size()) {
    size_t eol = s.find('\n', at + 1);
    if (eol == std::string::npos) eol = s.size();
    size_t close = s.find(")\t", at);
    bool header = s[at] == '\n' && at + 7 < s.size() && s.compare(at + 2, 2, "->") == 0 &&
                  s.compare(at + 5, 2, " (") == 0 && close < eol;
    if (header) {
      out += "[" + s.substr(at + 1, 1) + s.substr(at + 4, 1) + " " +
             s.substr(at + 7, close - at - 7) + "]";
      at = eol;
    } else {
      out += s[at++];
    }
  }
  return out;
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
  std::string listing() { return shorten(h_.listing()); }

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
