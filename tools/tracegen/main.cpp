// tracegen [options] [-o FILE]: writes a synthetic trace (to standard output
// without -o) and, with --stats, what it wrote to standard error.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tracegen.h"

namespace {

void usage() {
  fprintf(stderr,
          "usage: tracegen [--size N[K|M|G]] [--ops N] [--seed N] [--statements N]\n"
          "                [--new-ratio F] [--threads N] [--session iv310|protocols]\n"
          "                [--max-packet N] [--rows N] [--slow FROM:TO:FACTOR] [--stats]\n"
          "                [-o FILE]\n");
}

bool parseCount(const char* s, uint64_t& out) {
  char* end;
  errno = 0;
  unsigned long long v = strtoull(s, &end, 10);
  if (errno || end == s) return false;
  uint64_t mul = 1;
  if (*end == 'K' || *end == 'k') mul = uint64_t{1} << 10, ++end;
  if (*end == 'M' || *end == 'm') mul = uint64_t{1} << 20, ++end;
  if (*end == 'G' || *end == 'g') mul = uint64_t{1} << 30, ++end;
  if (*end) return false;
  out = v * mul;
  return true;
}

bool parseInt(const char* s, int& out) {
  uint64_t v;
  if (!parseCount(s, v) || v > 1u << 30) return false;
  out = static_cast<int>(v);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  tracegen::Config cfg;
  const char* path = nullptr;
  bool stats = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
    bool ok = true;
    if (a == "--stats") {
      stats = true;
      continue;
    }
    if (!v) {
      usage();
      return 2;
    }
    ++i;
    if (a == "--size") {
      ok = parseCount(v, cfg.size);
    } else if (a == "--ops") {
      ok = parseCount(v, cfg.ops);
    } else if (a == "--seed") {
      ok = parseCount(v, cfg.seed);
    } else if (a == "--statements") {
      ok = parseInt(v, cfg.statements);
    } else if (a == "--threads") {
      ok = parseInt(v, cfg.threads);
    } else if (a == "--max-packet") {
      ok = parseInt(v, cfg.maxPacket);
    } else if (a == "--rows") {
      ok = parseInt(v, cfg.maxRows);
    } else if (a == "--new-ratio") {
      char* end;
      cfg.newRatio = strtod(v, &end);
      ok = *v && !*end;
    } else if (a == "--slow") {
      // Seconds after the start, and how many times slower the server is.
      ok = sscanf(v, "%lf:%lf:%lf", &cfg.slowFrom, &cfg.slowTo, &cfg.slowFactor) == 3;
    } else if (a == "--session") {
      std::string s = v;
      ok = s == "iv310" || s == "protocols";
      cfg.session =
          s == "protocols" ? tracegen::Session::Protocols : tracegen::Session::InternalVersion;
    } else if (a == "-o") {
      path = v;
    } else {
      ok = false;
    }
    if (!ok) {
      fprintf(stderr, "tracegen: bad option %s %s\n", a.c_str(), v);
      usage();
      return 2;
    }
  }
  std::string problem = tracegen::check(cfg);
  if (!problem.empty()) {
    fprintf(stderr, "tracegen: %s\n", problem.c_str());
    return 2;
  }
  FILE* f = path ? fopen(path, "wb") : stdout;
  if (!f) {
    perror(path);
    return 1;
  }
  tracegen::Stats st;
  bool ok;
  {
    tracegen::FileSink sink(f);
    st = tracegen::generate(cfg, sink);
    ok = sink.flush();
  }
  if (path && fclose(f) != 0) ok = false;
  if (!ok) {
    perror(path ? path : "stdout");
    return 1;
  }
  if (stats) {
    fprintf(stderr,
            "bytes %llu records %llu client %llu server %llu threads %llu messages %llu "
            "operations %llu tuples %llu tuple-bytes %llu puts %llu binds %llu errors %llu "
            "continuations %llu statements %d\n",
            (unsigned long long)st.bytes, (unsigned long long)st.records,
            (unsigned long long)st.clientPackets, (unsigned long long)st.serverPackets,
            (unsigned long long)st.threadMarkers, (unsigned long long)st.messages,
            (unsigned long long)st.operations, (unsigned long long)st.tuples,
            (unsigned long long)st.tupleBytes, (unsigned long long)st.puts,
            (unsigned long long)st.binds, (unsigned long long)st.errors,
            (unsigned long long)st.continuations, st.statementsUsed);
  }
  return 0;
}
