// Runs golden tests: each .test file describes a trace, the command line and
// environment to run wireprint with, and the exact standard output, standard
// error and exit status expected.
//
//   # comments before the first section
//   args: -summary $TRACE           ($TRACE, $OUT and $DIR are substituted)
//   env: WIREPRINTDBG=1             (added to TZ=UTC LC_ALL=C, or replacing them)
//   --- trace                       a tracec description
//   --- stdout                      expected bytes, line by line
//   --- stderr
//   --- outfile                     what the run wrote to $OUT
//   --- old_outfile                 what $OUT holds before the run
//   --- status                      the exit status (0 when absent)
//
// Every case also checks that the run left its trace file as it was.
// Record addresses in debug lines on standard error are compared as <addr>.
// A section header may end in "noeol" when its text has no final newline.
// golden_runner WIREPRINT [--update] FILE...; --update rewrites the expected
// sections from what the binary printed (review the diff before committing).
// golden_runner --corpus DIR FILE... writes each trace, behind two zero
// option bytes, as a seed for the fuzzer.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tracec.h"

namespace {

struct Section {
  std::string name;
  std::string text;
  bool noeol = false;
};

struct Case {
  std::vector<std::string> preamble;  // lines before the first section
  std::string args, env;
  std::vector<Section> sections;
  const Section* find(const std::string& n) const {
    for (auto& s : sections)
      if (s.name == n) return &s;
    return nullptr;
  }
};

Case parse(const std::string& text) {
  Case c;
  std::istringstream in(text);
  std::string line;
  Section* cur = nullptr;
  while (std::getline(in, line)) {
    if (line.rfind("--- ", 0) == 0) {
      std::istringstream h(line.substr(4));
      Section s;
      h >> s.name;
      std::string flag;
      while (h >> flag)
        if (flag == "noeol") s.noeol = true;
      c.sections.push_back(s);
      cur = &c.sections.back();
      continue;
    }
    if (cur) {
      cur->text += line + "\n";
      continue;
    }
    c.preamble.push_back(line);
    if (line.rfind("args:", 0) == 0) c.args = line.substr(5);
    if (line.rfind("env:", 0) == 0) c.env = line.substr(4);
  }
  for (auto& s : c.sections)
    if (s.noeol && !s.text.empty()) s.text.pop_back();
  return c;
}

std::string subst(std::string s, const std::map<std::string, std::string>& vars) {
  for (auto& [k, v] : vars) {
    for (size_t at; (at = s.find(k)) != std::string::npos;) s.replace(at, k.size(), v);
  }
  return s;
}

std::vector<std::string> words(const std::string& s) {
  std::vector<std::string> out;
  std::istringstream in(s);
  std::string w;
  while (in >> w) out.push_back(w == "''" ? "" : w);
  return out;
}

std::string slurp(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

struct Outcome {
  std::string out, err;
  int status = -1;
};

Outcome runBinary(const std::string& bin, const std::vector<std::string>& args,
                  const std::vector<std::string>& env, const std::string& dir) {
  std::string outPath = dir + "/stdout", errPath = dir + "/stderr";
  pid_t pid = fork();
  if (pid == 0) {
    int o = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int e = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int n = open("/dev/null", O_RDONLY);
    dup2(o, 1);
    dup2(e, 2);
    dup2(n, 0);
    std::vector<char*> argv{const_cast<char*>(bin.c_str())};
    for (auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (auto& v : env) envp.push_back(const_cast<char*>(v.c_str()));
    envp.push_back(nullptr);
    execve(bin.c_str(), argv.data(), envp.data());
    _exit(127);
  }
  int st = 0;
  waitpid(pid, &st, 0);
  Outcome r;
  r.out = slurp(outPath);
  r.err = slurp(errPath);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
  return r;
}

// Debug lines that show a record's address print it as <addr>: addresses
// change from run to run.
std::string maskAddresses(std::string s) {
  for (const char* prefix : {"stats_ptr=", "adress=0x", "find_stmt: at 0x"}) {
    const size_t n = strlen(prefix);
    for (size_t at = s.find(prefix); at != std::string::npos; at = s.find(prefix, at)) {
      at += n;
      size_t end = at;
      while (end < s.size() && isxdigit(static_cast<unsigned char>(s[end]))) ++end;
      s.replace(at, end - at, "<addr>");
    }
  }
  return s;
}

// The first differing line, for the failure report.
void showDiff(const std::string& what, const std::string& want, const std::string& got) {
  std::istringstream a(want), b(got);
  std::string la, lb;
  int n = 1;
  for (;; ++n) {
    bool ea = !std::getline(a, la), eb = !std::getline(b, lb);
    if (ea && eb) break;
    if (ea || eb || la != lb) {
      std::cerr << "  " << what << " differs at line " << n << ":\n"
                << "    expected: " << (ea ? "<end>" : "\"" + la + "\"") << "\n"
                << "    actual:   " << (eb ? "<end>" : "\"" + lb + "\"") << "\n";
      return;
    }
  }
  std::cerr << "  " << what << " differs in its final newline\n";
}

void writeSection(std::ostream& o, const std::string& name, const std::string& text) {
  bool eol = text.empty() || text.back() == '\n';
  o << "--- " << name << (eol ? "" : " noeol") << "\n" << text << (eol ? "" : "\n");
}

int runCase(const std::string& bin, const std::string& path, bool update) {
  std::string text = slurp(path);
  Case c = parse(text);
  char tmpl[] = "/tmp/wireprint-golden-XXXXXX";
  std::string dir = mkdtemp(tmpl);
  std::map<std::string, std::string> vars{
      {"$TRACE", dir + "/trace"}, {"$OUT", dir + "/out"}, {"$DIR", dir}};
  std::string trace;
  if (const Section* t = c.find("trace")) {
    tracec::Result r = tracec::compile(t->text);
    if (!r.ok()) {
      std::cerr << path << ": trace " << r.error << "\n";
      return 1;
    }
    trace.assign(r.bytes.begin(), r.bytes.end());
    std::ofstream(dir + "/trace", std::ios::binary) << trace;
  }
  if (const Section* o = c.find("old_outfile"))
    std::ofstream(dir + "/out", std::ios::binary) << o->text;
  std::vector<std::string> env{"TZ=UTC", "LC_ALL=C", "PATH=/usr/bin:/bin"};
  for (auto& w : words(subst(c.env, vars))) {
    // A test's own setting replaces a default of the same name (LC_ALL).
    std::string name = w.substr(0, w.find('=') + 1);
    bool replaced = false;
    for (auto& e : env)
      if (e.rfind(name, 0) == 0) e = w, replaced = true;
    if (!replaced) env.push_back(w);
  }
  Outcome got = runBinary(bin, words(subst(c.args, vars)), env, dir);
  std::string outfile = slurp(dir + "/out");
  bool traceKept = !c.find("trace") || slurp(dir + "/trace") == trace;
  // Paths of the temporary directory print as $DIR, so listings stay stable.
  auto unsub = [&](std::string s) {
    for (size_t at; (at = s.find(dir)) != std::string::npos;) s.replace(at, dir.size(), "$DIR");
    return s;
  };
  got.out = unsub(got.out);
  got.err = maskAddresses(unsub(got.err));
  std::string cleanup = "rm -rf '" + dir + "'";
  if (system(cleanup.c_str()) != 0) std::cerr << "could not remove " << dir << "\n";

  auto expect = [&](const char* n) {
    const Section* s = c.find(n);
    return s ? s->text : std::string();
  };
  std::string wantStatus = expect("status");
  int status = wantStatus.empty() ? 0 : atoi(wantStatus.c_str());

  if (update) {
    std::ofstream o(path, std::ios::binary);
    for (auto& l : c.preamble) o << l << "\n";
    if (const Section* t = c.find("trace")) o << "--- trace\n" << t->text;
    if (const Section* t = c.find("old_outfile")) writeSection(o, "old_outfile", t->text);
    writeSection(o, "stdout", got.out);
    if (!got.err.empty()) writeSection(o, "stderr", got.err);
    if (c.find("outfile") || !outfile.empty()) writeSection(o, "outfile", outfile);
    if (got.status != 0) o << "--- status\n" << got.status << "\n";
    return 0;
  }
  bool ok = true;
  if (got.out != expect("stdout")) showDiff("stdout", expect("stdout"), got.out), ok = false;
  if (got.err != expect("stderr")) showDiff("stderr", expect("stderr"), got.err), ok = false;
  if (c.find("outfile") && outfile != expect("outfile"))
    showDiff("outfile", expect("outfile"), outfile), ok = false;
  if (!traceKept) std::cerr << "  the trace file was changed\n", ok = false;
  if (got.status != status) {
    std::cerr << "  status: expected " << status << ", actual " << got.status << "\n";
    ok = false;
  }
  if (!ok) std::cerr << path << ": FAILED\n";
  return ok ? 0 : 1;
}

}  // namespace

// Seeds for the fuzzer: two option bytes (none set), then the trace.
int writeCorpus(const std::string& dir, int argc, char** argv) {
  for (int i = 3; i < argc; ++i) {
    Case c = parse(slurp(argv[i]));
    const Section* t = c.find("trace");
    if (!t) continue;
    tracec::Result r = tracec::compile(t->text);
    if (!r.ok()) continue;
    std::string name = argv[i];
    name = name.substr(name.find_last_of('/') + 1);
    std::ofstream o(dir + "/" + name, std::ios::binary);
    o.put(0).put(0).write(reinterpret_cast<const char*>(r.bytes.data()), r.bytes.size());
  }
  return 0;
}

int main(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[1]) == "--corpus") return writeCorpus(argv[2], argc, argv);
  if (argc < 3) {
    std::cerr << "usage: golden_runner WIREPRINT [--update] FILE...\n";
    return 2;
  }
  std::string bin = argv[1];
  bool update = false;
  int failed = 0;
  for (int i = 2; i < argc; ++i) {
    if (std::string(argv[i]) == "--update") {
      update = true;
      continue;
    }
    failed += runCase(bin, argv[i], update);
  }
  return failed ? 1 : 0;
}
