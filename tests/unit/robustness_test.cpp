// Damaged traces: every golden trace cut at every byte, and with single bytes
// changed, runs to an orderly end (status 0 or 1) and never crashes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "driver/run.h"
#include "tracec.h"

namespace wp {
namespace {

std::vector<std::vector<uint8_t>> goldenTraces() {
  std::vector<std::vector<uint8_t>> out;
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
    if (r.ok() && r.bytes.size() > 8) out.push_back(r.bytes);
  }
  return out;
}

// Runs the whole program on the bytes (handed over in memory) with the
// listing sent to /dev/null and standard output and error muted.
int runOn(const std::vector<uint8_t>& bytes, std::vector<std::string> args) {
  args.insert(args.begin(), "wireprint");
  args.push_back("-o");
  args.push_back("/dev/null");
  args.push_back("trace");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  fflush(stdout);
  fflush(stderr);
  int saveOut = dup(1), saveErr = dup(2), null = open("/dev/null", O_WRONLY);
  dup2(null, 1);
  dup2(null, 2);
  auto run = std::make_unique<Run>();
  run->rd.file.openMemory(bytes.data(), bytes.size());
  int status = runMain(*run, static_cast<int>(argv.size()), argv.data(),
                       [](const char*) -> const char* { return nullptr; });
  run.reset();
  fflush(stdout);
  fflush(stderr);
  dup2(saveOut, 1);
  dup2(saveErr, 2);
  close(saveOut);
  close(saveErr);
  close(null);
  return status;
}

TEST(Robustness, EveryPrefixOfEveryGoldenTrace) {
  auto traces = goldenTraces();
  ASSERT_FALSE(traces.empty());
  for (auto& t : traces) {
    for (size_t n = 0; n <= t.size(); ++n) {
      std::vector<uint8_t> cut(t.begin(), t.begin() + n);
      int status = runOn(cut, {"-summary", "-stmt_stat"});
      ASSERT_TRUE(status == 0 || status == 1) << "cut at " << n;
    }
  }
}

TEST(Robustness, SingleChangedBytes) {
  auto traces = goldenTraces();
  const uint8_t values[] = {0x00, 0x01, 0x7f, 0x80, 0xff};
  for (auto& t : traces) {
    for (size_t i = 8; i < t.size(); ++i) {
      for (uint8_t v : values) {
        auto bad = t;
        bad[i] = v;
        int status = runOn(bad, {"-tuple", "-blob", "-udt", "-min"});
        ASSERT_TRUE(status == 0 || status == 1) << "byte " << i << " = " << int(v);
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
