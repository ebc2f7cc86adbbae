// The alltypes_* golden listings together decode every message type, and the
// only error lines in them are those of the types that cannot be decoded:
// an edit of those traces must not quietly drop a type or lose sync.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "driver/msgtable.h"

namespace wp {
namespace {

// The expected standard output of every alltypes_* golden test, line by line.
std::vector<std::string> alltypesListings() {
  std::vector<std::string> lines;
  for (auto& e : std::filesystem::directory_iterator(WIREPRINT_SOURCE_DIR "/tests/golden")) {
    std::string name = e.path().filename().string();
    if (name.rfind("alltypes_", 0) != 0 || e.path().extension() != ".test") continue;
    std::ifstream f(e.path());
    std::stringstream ss;
    ss << f.rdbuf();
    std::string s = ss.str();
    size_t at = s.find("--- stdout\n");
    if (at == std::string::npos) continue;
    at += 11;
    size_t end = s.find("\n--- ", at);
    std::istringstream in(s.substr(at, end == std::string::npos ? end : end - at));
    for (std::string line; std::getline(in, line);) lines.push_back(line);
  }
  return lines;
}

TEST(AlltypesGolden, EveryMessageTypeIsListed) {
  std::set<std::string> listed;
  for (const std::string& l : alltypesListings())
    if (l.size() > 1 && l[0] == '\t' && l[1] != '\t') listed.insert(l.substr(1));
  for (int t = 1; t < kNumTypes; ++t) EXPECT_TRUE(listed.count(kMessages[t].name)) << t;
}

TEST(AlltypesGolden, OnlyUndecodableTypesReportErrors) {
  const std::vector<std::string> lines = alltypesListings();
  std::multiset<std::string> before;  // the message name line before each error
  std::string last;
  for (const std::string& l : lines) {
    EXPECT_EQ(l.find("Read too far"), std::string::npos);
    EXPECT_EQ(l.find("not decoded"), std::string::npos);
    if (l.rfind("ERROR", 0) == 0) before.insert(last);
    if (l.size() > 1 && l[0] == '\t' && l[1] != '\t') last = l.substr(1);
  }
  const std::multiset<std::string> expected = {
      "SQ_DCATALOG",  "SQ_REMTAB",      "SQ_REMNAME",     "SQ_REMVIEW", "SQ_REMPROC",
      "SQ_REMPPERMS", "SQ_CFPDESCRIBE", "SQ_IFPDESCRIBE", "SQ_MIG",     "SQ_CDR"};
  EXPECT_EQ(before, expected);
}

}  // namespace
}  // namespace wp
