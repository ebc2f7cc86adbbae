// The watchdog over damaged traces: every golden trace cut at every byte, and
// with single bytes changed, runs to an orderly end (status 0 or 1) without a
// sanitizer finding, within a time bound, with a listing and buffers bounded
// by the bytes it was given.
//
// The golden set holds some 15 KB of traces, so the cuts and changes make
// about 180,000 runs: some ten seconds in the plain build and under a minute
// under the sanitizers, so nothing is sampled. Each run draws one of four
// option sets by its offset, so every option meets every region of a trace.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tracec.h"
#include "wholerun.h"

namespace wp {
namespace {

using test::Outcome;
using test::runWhole;

struct Trace {
  std::string name;
  std::vector<uint8_t> bytes;
};

std::vector<Trace> goldenTraces() {
  std::vector<Trace> out;
  for (auto& e : std::filesystem::directory_iterator(WIREPRINT_SOURCE_DIR "/tests/golden")) {
    if (e.path().extension() != ".test") continue;
    std::ifstream f(e.path());
    std::stringstream ss;
    ss << f.rdbuf();
    std::string s = ss.str();
    size_t at = s.find("--- trace\n");
    if (at == std::string::npos) continue;
    at += 10;
    size_t end = s.find("\n--- ", at);
    tracec::Result r = tracec::compile(s.substr(at, end == std::string::npos ? end : end - at));
    if (r.ok() && r.bytes.size() > 8) out.push_back({e.path().filename().string(), r.bytes});
  }
  return out;
}

const std::vector<std::string> kOptionSets[] = {
    {"-summary", "-stmt_stat", "-cmd_time"},
    {"-tuple", "-blob", "-udt", "-isprint"},
    {"-min", "-stmt_stat", "-per_thread", "-order_cnt", "-platform", "DECALPHA"},
    {"-stmt_stat", "-nogroup", "-tuple", "-summary", "-platform", "IEEEM"},
};

// Generous bounds: a damaged trace of a few hundred bytes decodes in well
// under a millisecond, the summary and statement report add some tens of
// kilobytes, a two-byte message type prints a line of up to twenty characters,
// and a statement record costs a few hundred bytes for a four-byte message.
constexpr double kSecondsPerRun = 2.0;
constexpr int64_t kListingBase = 64 * 1024, kListingPerByte = 64;
constexpr size_t kHeapBase = test::kRunHeap + 64 * 1024, kHeapPerByte = 128;

testing::AssertionResult orderly(const Outcome& o, size_t inputBytes) {
  if (o.status != 0 && o.status != 1) return testing::AssertionFailure() << "status " << o.status;
  if (o.seconds > kSecondsPerRun) return testing::AssertionFailure() << o.seconds << " s";
  if (o.listing > kListingBase + kListingPerByte * (o.served + static_cast<int64_t>(inputBytes)))
    return testing::AssertionFailure()
           << "listing of " << o.listing << " bytes for " << o.served << " decoded";
  if (o.heap > kHeapBase + kHeapPerByte * inputBytes)
    return testing::AssertionFailure() << o.heap << " bytes of heap";
  return testing::AssertionSuccess();
}

TEST(Robustness, EveryPrefixOfEveryGoldenTrace) {
  auto traces = goldenTraces();
  ASSERT_GT(traces.size(), 20u);
  for (auto& t : traces) {
    for (size_t n = 0; n <= t.bytes.size(); ++n) {
      std::vector<uint8_t> cut(t.bytes.begin(), t.bytes.begin() + n);
      ASSERT_TRUE(orderly(runWhole(cut, kOptionSets[n % 4]), n)) << t.name << " cut at " << n;
    }
  }
}

TEST(Robustness, SingleChangedBytes) {
  auto traces = goldenTraces();
  for (auto& t : traces) {
    for (size_t i = 8; i < t.bytes.size(); ++i) {
      const uint8_t b = t.bytes[i];
      // Each of the eight bits flipped, then the values that turn lengths
      // and counts into their extremes.
      std::vector<uint8_t> values;
      for (int bit = 0; bit < 8; ++bit) values.push_back(static_cast<uint8_t>(b ^ 1 << bit));
      for (uint8_t v : {0x00, 0xff, 0x7f}) values.push_back(v);
      for (size_t k = 0; k < values.size(); ++k) {
        auto bad = t.bytes;
        bad[i] = values[k];
        ASSERT_TRUE(orderly(runWhole(bad, kOptionSets[(i + k) % 4]), bad.size()))
            << t.name << " byte " << i << " = " << int(values[k]);
      }
    }
  }
}

}  // namespace
}  // namespace wp

namespace wp {
namespace {

// The binary traces shipped in examples/ are what their descriptions say.
TEST(Examples, ShippedTracesMatchTheirDescriptions) {
  for (auto& e : std::filesystem::directory_iterator(WIREPRINT_SOURCE_DIR "/examples")) {
    if (e.path().extension() != ".test") continue;
    auto bin = e.path();
    bin.replace_extension(".trace");
    if (!std::filesystem::exists(bin)) {
      ADD_FAILURE() << bin << " is missing: every example ships its compiled trace";
      continue;
    }
    std::ifstream f(e.path()), b(bin, std::ios::binary);
    std::stringstream ss, bs;
    ss << f.rdbuf();
    bs << b.rdbuf();
    std::string s = ss.str();
    size_t at = s.find("--- trace\n") + 10;
    size_t end = s.find("\n--- ", at);
    tracec::Result r = tracec::compile(s.substr(at, end == std::string::npos ? end : end - at));
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(std::string(r.bytes.begin(), r.bytes.end()), bs.str()) << bin;
  }
}

}  // namespace
}  // namespace wp
