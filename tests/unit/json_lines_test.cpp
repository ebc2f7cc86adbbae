// Every golden and example trace, run again with -json: each line must parse
// with a real JSON parser as one object of a known kind, without duplicate
// keys, conform to doc/wireprint.schema.json, and each message object must
// hold as many leaves as the listing run emitted fields for that message
// (both counted per message: the listing by the emission interface, JSON by
// parsing the text). The JSON goldens' expected lines must conform too.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "driver/run.h"
#include "golden_cases.h"
#include "json_schema.h"
#include "tracec.h"
#include "wholerun.h"

namespace wp {
namespace {

using nlohmann::json;

using test::GoldenCase;
using test::goldenCases;
using test::slurp;

struct Rendered {
  std::string text;
  std::vector<size_t> tally;  // leaves per message, as the messages ended
};

Rendered render(const GoldenCase& c, bool asJson) {
  std::vector<std::string> args = c.args;
  if (asJson) args.insert(args.begin(), "-json");
  Rendered r;
  r.text = test::listInMemory(c.trace, args, [&](Run& run) { run.em.setTally(&r.tally); }).out;
  return r;
}

// Parses one line; a key that appears twice in one object is an error too.
json parseStrict(const std::string& line, std::string& problem) {
  std::vector<std::set<std::string>> keys;
  auto check = [&](int, json::parse_event_t ev, json& parsed) {
    if (ev == json::parse_event_t::object_start) keys.emplace_back();
    if (ev == json::parse_event_t::object_end) keys.pop_back();
    if (ev == json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second)
      problem = "duplicate key " + parsed.get<std::string>();
    return true;
  };
  try {
    return json::parse(line, check);
  } catch (const json::exception& e) {
    problem = e.what();
    return json();
  }
}

size_t leaves(const json& j) {
  if (j.is_object() || j.is_array()) {
    size_t n = 0;
    for (const auto& v : j) n += leaves(v);
    return n;
  }
  return 1;
}

const std::set<std::string> kKinds = {
    "trace",   "header",     "packet", "fork",    "thread",
    "message", "diagnostic", "notice", "summary", "statement_statistics",
    "field"};

const test::SchemaValidator& schema() {
  static const test::SchemaValidator v(
      json::parse(slurp(WIREPRINT_SOURCE_DIR "/doc/wireprint.schema.json")));
  return v;
}

void checkCase(const GoldenCase& c) {
  Rendered listing = render(c, false);
  Rendered js = render(c, true);
  EXPECT_EQ(listing.tally, js.tally);
  std::vector<size_t> parsedLeaves;
  std::istringstream in(js.text);
  int n = 0;
  for (std::string line; std::getline(in, line);) {
    ++n;
    std::string problem;
    json j = parseStrict(line, problem);
    ASSERT_TRUE(problem.empty()) << "line " << n << ": " << problem << "\n" << line;
    ASSERT_TRUE(j.is_object()) << line;
    ASSERT_TRUE(j.contains("kind") && j["kind"].is_string()) << line;
    EXPECT_TRUE(kKinds.count(j["kind"].get<std::string>())) << line;
    std::string bad = schema().check(j);
    EXPECT_TRUE(bad.empty()) << bad << "\n" << line;
    if (j["kind"] == "message") {
      ASSERT_TRUE(j["fields"].is_object()) << line;
      parsedLeaves.push_back(leaves(j["fields"]));
    }
  }
  if (!js.text.empty()) {
    EXPECT_EQ(js.text.back(), '\n');
  }
  EXPECT_EQ(parsedLeaves, listing.tally);
}

TEST(JsonLines, EveryGoldenTraceGivesValidObjects) {
  std::vector<GoldenCase> cases = goldenCases();
  ASSERT_GT(cases.size(), 100u);
  for (const GoldenCase& c : cases) {
    SCOPED_TRACE(c.name);
    checkCase(c);
  }
}

// The hand-written expectations of the JSON goldens conform to the schema, and
// the schema rejects what it must (so that a lax schema cannot pass).
TEST(JsonSchema, GoldenExpectationsConform) {
  int lines = 0;
  for (auto& e : std::filesystem::directory_iterator(WIREPRINT_SOURCE_DIR "/tests/golden")) {
    std::string name = e.path().filename().string();
    if (name.rfind("json_", 0) != 0) continue;
    std::string text = slurp(e.path());
    size_t at = text.find("--- stdout\n");
    ASSERT_NE(at, std::string::npos) << name;
    std::istringstream in(text.substr(at + 11));
    for (std::string line; std::getline(in, line) && line.rfind("--- ", 0) != 0;) {
      ++lines;
      std::string bad = schema().check(json::parse(line));
      EXPECT_TRUE(bad.empty()) << name << ": " << bad << "\n" << line;
    }
  }
  EXPECT_GT(lines, 50);
}

TEST(JsonSchema, RejectsWrongObjects) {
  const char* const kWrong[] = {
      R"({"kind":"packet","dir":"C->S"})",                 // no number
      R"({"kind":"packet","n":1,"dir":"C->S","size":3})",  // unknown member
      R"({"kind":"message","packet":1,"dir":"C->S","offset":0,"type":140,"name":"X","fields":{}})",
      R"({"kind":"message","packet":1,"dir":"C->S","offset":0,"type":2,"name":"X","fields":[]})",
      R"({"kind":"message","packet":1,"dir":"C->S","offset":0,"type":2,"name":"X","fields":{"a":true}})",
      R"({"kind":"diagnostic","packet":1})",  // no text
      R"({"kind":"summary"})",
      R"({"kind":"statement_statistics","sql":"x","messages":1,"total_time":0,"msgs":[{"count":1}]})",
      R"({"kind":"nothing"})",
      R"([1,2])",
  };
  for (const char* w : kWrong) EXPECT_FALSE(schema().check(json::parse(w)).empty()) << w;
}

}  // namespace
}  // namespace wp
