// Runs the whole program over a trace description with -db (and -report) to
// files in a fresh directory, and reads the database back.
#pragma once

#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "driver/run.h"
#include "gtest/gtest.h"
#include "tracec.h"

namespace wp::test {

struct Analysed {
  int status = -1;
  std::string dir, db, html, page;
  std::unique_ptr<Run> run;  // kept: its collector is looked at too
  ~Analysed() {
    if (!dir.empty()) {
      remove(db.c_str());
      remove(html.c_str());
      rmdir(dir.c_str());
    }
  }

  // The rows of a query, each row's columns joined by '|' (NULL as "-").
  std::vector<std::string> rows(const std::string& sql) const {
    std::vector<std::string> out;
    sqlite3* h = nullptr;
    if (sqlite3_open_v2(db.c_str(), &h, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      ADD_FAILURE() << "cannot open " << db;
      sqlite3_close(h);
      return out;
    }
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(h, sql.c_str(), -1, &s, nullptr) != SQLITE_OK) {
      ADD_FAILURE() << sql << ": " << sqlite3_errmsg(h);
    } else {
      while (sqlite3_step(s) == SQLITE_ROW) {
        std::string r;
        for (int c = 0; c < sqlite3_column_count(s); ++c) {
          if (c) r += '|';
          auto t = sqlite3_column_text(s, c);
          r += t ? reinterpret_cast<const char*>(t) : "-";
        }
        out.push_back(r);
      }
    }
    sqlite3_finalize(s);
    sqlite3_close(h);
    return out;
  }
  std::string one(const std::string& sql) const {
    auto r = rows(sql);
    if (r.size() == 1) return r[0];
    std::string n = "<";
    return n.append(std::to_string(r.size())).append(" rows>");
  }
};

inline std::unique_ptr<Analysed> analyseBytes(const std::vector<uint8_t>& bytes,
                                              std::vector<std::string> extra = {}) {
  auto a = std::make_unique<Analysed>();
  char tmpl[] = "/tmp/wireprint-analysis-XXXXXX";
  a->dir = mkdtemp(tmpl) ? tmpl : "";
  a->db = a->dir + "/t.sqlite";
  a->html = a->dir + "/t.html";
  static FILE* null = fopen("/dev/null", "w");
  std::vector<std::string> args{"wireprint", "-db", a->db, "-report", a->html};
  args.insert(args.end(), extra.begin(), extra.end());
  args.push_back("trace");
  std::vector<char*> argv;
  for (auto& s : args) argv.push_back(s.data());
  a->run = std::make_unique<Run>();
  a->run->out.setStreams(null, null);
  a->run->rd.file.openMemory(bytes.data(), bytes.size());
  a->status = runMain(*a->run, static_cast<int>(argv.size()), argv.data(),
                      [](const char*) -> const char* { return nullptr; });
  std::ifstream f(a->html);
  std::stringstream ss;
  ss << f.rdbuf();
  a->page = ss.str();
  return a;
}

inline std::unique_ptr<Analysed> analyse(const std::string& description,
                                         std::vector<std::string> extra = {}) {
  tracec::Result t = tracec::compile(description);
  EXPECT_TRUE(t.ok()) << t.error;
  return analyseBytes(t.bytes, std::move(extra));
}

}  // namespace wp::test
