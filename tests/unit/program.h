// The built program run as a user runs it, in a scratch directory of the
// test's own: traces written there (compiled from their text description or
// generated), the program started with its standard streams on files (or on
// a full device, a closed descriptor, a pipe without a reader), and what it
// left read back, SQLite databases included.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tracec.h"
#include "tracegen.h"

namespace wp::test {

inline std::string slurp(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

inline void spit(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// The rows of a query, each row's columns joined by '|' (NULL as "-").
inline std::vector<std::string> sqlRows(const std::string& db, const std::string& sql) {
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

enum class Stdout { kFile, kAppend, kFull, kClosed, kBrokenPipe };

struct Result {
  int status = -1;
  std::string out, err;
};

class Scratch : public testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/wireprint-test-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override {
    std::string rm = "rm -rf '" + dir_ + "'";
    EXPECT_EQ(system(rm.c_str()), 0);
  }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  std::string write(const std::string& name, const std::vector<uint8_t>& bytes) {
    spit(path(name), bytes);
    return path(name);
  }
  std::string compiled(const std::string& name, const std::string& description) {
    tracec::Result t = tracec::compile(description);
    EXPECT_TRUE(t.ok()) << t.error;
    return write(name, t.bytes);
  }
  // A generated trace of about `size` bytes.
  std::string generated(const std::string& name, uint64_t seed, uint64_t size,
                        int statements = 50) {
    tracegen::Config cfg;
    cfg.seed = seed;
    cfg.size = size;
    cfg.statements = statements;
    tracegen::VectorSink sink;
    tracegen::generate(cfg, sink);
    return write(name, sink.bytes);
  }

  // Starts the program with these arguments, TZ=UTC and LC_ALL=C, standard
  // input from `input` (else /dev/null), standard output as `mode` says
  // (kFile and kAppend: DIR/stdout), standard error to DIR/stderr.
  pid_t start(const std::vector<std::string>& args, const std::string& input = "",
              Stdout mode = Stdout::kFile) {
    std::string out = path("stdout"), err = path("stderr");
    int pipeEnds[2] = {-1, -1};
    if (mode == Stdout::kBrokenPipe) {
      EXPECT_EQ(pipe(pipeEnds), 0);
      close(pipeEnds[0]);  // no reader from the start
    }
    pid_t pid = fork();
    if (pid == 0) {
      dup2(open(input.empty() ? "/dev/null" : input.c_str(), O_RDONLY), 0);
      dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
      switch (mode) {
        case Stdout::kFile:
          dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
          break;
        case Stdout::kAppend:
          dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644), 1);
          break;
        case Stdout::kFull:
          dup2(open("/dev/full", O_WRONLY), 1);
          break;
        case Stdout::kClosed:
          close(1);
          break;
        case Stdout::kBrokenPipe:
          dup2(pipeEnds[1], 1);
          signal(SIGPIPE, SIG_IGN);  // stays ignored across exec
          break;
      }
      std::vector<char*> argv{const_cast<char*>(WIREPRINT_BINARY)};
      for (auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      setenv("TZ", "UTC", 1);
      setenv("LC_ALL", "C", 1);
      execv(WIREPRINT_BINARY, argv.data());
      _exit(127);
    }
    if (pipeEnds[1] >= 0) close(pipeEnds[1]);
    return pid;
  }
  // Waits for it: exit status (128 + signal when killed) and what its
  // standard output (in DIR/stdout) and error say.
  Result collect(pid_t pid) {
    int st = 0;
    waitpid(pid, &st, 0);
    Result r;
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    r.out = slurp(path("stdout"));
    r.err = slurp(path("stderr"));
    return r;
  }
  Result run(const std::vector<std::string>& args, const std::string& input = "",
             Stdout mode = Stdout::kFile) {
    return collect(start(args, input, mode));
  }

  std::string dir_;
};

}  // namespace wp::test
