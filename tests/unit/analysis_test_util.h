// Runs the whole program over a trace description with -db (and -report) to
// files in a fresh directory, and reads the database back.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "driver/run.h"
#include "gtest/gtest.h"
#include "program.h"
#include "wholerun.h"

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
  std::vector<std::string> rows(const std::string& sql) const { return sqlRows(db, sql); }
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
  std::vector<std::string> args{"-db", a->db, "-report", a->html};
  args.insert(args.end(), extra.begin(), extra.end());
  a->status = listInMemory(bytes, args, {}, &a->run).status;
  a->page = slurp(a->html);
  return a;
}

inline std::unique_ptr<Analysed> analyse(const std::string& description,
                                         std::vector<std::string> extra = {}) {
  return analyseBytes(compiled(description), std::move(extra));
}

}  // namespace wp::test
