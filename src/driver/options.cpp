#include "driver/options.h"

#include <cstdio>
#include <cstring>

#include "driver/output.h"

namespace wp {

namespace {

const char* const kUsage[] = {
    "-tuple      : hex value of TUPLES in PUT and FETCH",
    "-blob       : hex value of BLOBS in PUT and FETCH",
    "-min        : only print the most minimum information",
    "-udt        : print hex value of Fix/Var Binary",
    "-cmd_time   : print timing info for each command",
    "-nocsc      : turn off codeset convertion",
    "-summary    : print summary information at the end ",
    "-stmt_stat  : print statement statistics grouped by SQL",
    "-order_cnt  : order statement stats by count (default: time)",
    "-per_thread : stmt stats per thread",
    "-nogroup    : do not group stmt stats by SQL text",
    "-notimestamp: don't print the timestamp",
    "-platform type: type can be either IEEEI, IEEEM or DECALPHA",
    "              print the timestamp by the specific platform format in sqlidebug",
    "              file. This is only useful when you are using the sqlidebug file",
    "              from different platforms. The following are the three supported",
    "              timestamp types: IEEEM, IEEEI or DECALPHA.",
    "-isprint    : only print printable characters(Data)",
    "-o outfile  : generate the output to outfile",
    "-V          : print version",
    "inpfile     : sqlidebug file",
};

// A flag option: its exact spelling and the setting it gives.
struct Flag {
  const char* word;
  int32_t Options::*field;
  int32_t value;
};

const Flag kFlags[] = {
    {"-blob", &Options::blob_hex, 1},
    {"-cmd_time", &Options::cmd_time, 1},
    {"-isprint", &Options::isprint_flag, 1},
    {"-json", &Options::json, 1},
    {"-min", &Options::min, 1},
    {"-notimestamp", &Options::timestamp, 0},
    {"-nocsc", &Options::needcsc, 0},
    {"-nogroup", &Options::stmtgroup, 0},
    {"-order_cnt", &Options::ordercnt, 1},
    {"-per_thread", &Options::stmtthread, 1},
    {"-summary", &Options::summary, 1},
    {"-stmt_stat", &Options::stmtstats, 1},
    {"-tuple", &Options::dump_tuple, 1},
    {"-udt", &Options::udt_hex, 1},
};

}  // namespace

void printUsage(const Options& opt, Output& out) {
  out.err("Usage: %s [-tuple] [-blob] [-min] [-cmd_time] [-nocsc] [-summary]\n",
          opt.progname.c_str());
  out.err("\t\t [-stmt_stat [-order_cnt] [-per_thread] [-nogroup]]\n");
  out.err("\t\t [-notimestamp] [-platform type] [-o outfile] [-V] inpfile\n");
  for (const char* line : kUsage) out.err("%s\n", line);
  out.err("\n\n");
}

int parseArgs(int argc, char** argv, Options& opt, Output& out) {
  auto usage = [&] {
    printUsage(opt, out);
    return 1;
  };
  for (int i = 1; i < argc; ++i) {
    const char* a = argv[i];
    if (a[0] != '-') {
      if (i != argc - 1) return usage();
      opt.inpfile = a;
      continue;
    }
    char second = a[1];
    if (second < 'V' || second > 'u') return usage();
    if (second == 'V') {
      out.out("wireprint version %s\n", WIREPRINT_VERSION);
      out.out("Protocol Version: %ld\n", 900L);
      return 0;
    }
    if (strcmp(a, "-o") == 0) {
      if (i + 1 >= argc) return usage();
      const char* file = argv[++i];
      if (!out.openFile(file)) {
        out.perror(file);
        return 1;
      }
      continue;
    }
    // Named outputs beside the listing; the usage text keeps the design's list.
    if (strcmp(a, "-report") == 0 || strcmp(a, "-db") == 0) {
      if (i + 1 >= argc) return usage();
      (a[1] == 'r' ? opt.report : opt.db) = argv[++i];
      continue;
    }
    if (strcmp(a, "-platform") == 0) {
      if (i + 1 >= argc) return usage();
      const char* type = argv[++i];
      if (strcmp(type, "IEEEI") == 0) {
        opt.timestampformat = 1;
      } else if (strcmp(type, "IEEEM") == 0) {
        opt.timestampformat = 2;
      } else if (strcmp(type, "DECALPHA") == 0) {
        opt.timestampformat = 3;
      } else {
        return usage();
      }
      continue;
    }
    const Flag* hit = nullptr;
    for (const Flag& f : kFlags) {
      if (strcmp(a, f.word) == 0) hit = &f;
    }
    if (!hit) return usage();
    opt.*(hit->field) = hit->value;
  }
  return -1;
}

}  // namespace wp
