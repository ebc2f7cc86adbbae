// The golden and example tests as cases to run again in other ways: their
// arguments (without the trace and without the files of "-o", "-report" and
// "-db", since the trace is read from memory here), their compiled trace and
// their expected standard output.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "program.h"
#include "tracec.h"

namespace wp::test {

struct GoldenCase {
  std::string name;
  std::vector<std::string> args;
  std::vector<uint8_t> trace;
  std::string stdoutText;  // as the test expects it
};

inline std::vector<GoldenCase> goldenCases() {
  std::vector<GoldenCase> cases;
  for (const char* dir : {"/tests/golden", "/examples"}) {
    for (auto& e : std::filesystem::directory_iterator(std::string(WIREPRINT_SOURCE_DIR) + dir)) {
      if (e.path().extension() != ".test") continue;
      std::string text = slurp(e.path());
      size_t t = text.find("--- trace\n");
      if (t == std::string::npos) continue;
      size_t end = text.find("\n--- ", t + 10);
      GoldenCase c;
      c.name = e.path().filename().string();
      tracec::Result r = tracec::compile(text.substr(t + 10, end - t - 9));
      if (!r.ok()) continue;
      c.trace = r.bytes;
      if (size_t s = text.find("\n--- stdout\n"); s != std::string::npos) {
        size_t from = s + 12, to = text.find("\n--- ", from);
        c.stdoutText = text.substr(from, to == std::string::npos ? to : to - from + 1);
      }
      std::istringstream lines(text.substr(0, t));
      for (std::string line; std::getline(lines, line);) {
        if (line.rfind("args:", 0) != 0) continue;
        std::istringstream words(line.substr(5));
        for (std::string w; words >> w;) {
          if (w == "-o" || w == "-report" || w == "-db") {
            words >> w;
            continue;
          }
          // "-" reads standard input: here the trace comes from memory.
          if (w.find('$') == std::string::npos && w != "-") c.args.push_back(w);
        }
      }
      cases.push_back(c);
    }
  }
  return cases;
}

}  // namespace wp::test
