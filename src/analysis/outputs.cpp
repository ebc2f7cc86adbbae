// Sets up and writes the report and the database of a run.
#include "analysis/outputs.h"

#include <sys/stat.h>

#include "analysis/collector.h"
#include "driver/run.h"
#include "render/json_render.h"
#include "report/html.h"
#include "store/store.h"

namespace wp::analysis {

int startOutputs(Run& run, int argc, char** argv) {
  const Options& opt = run.opt;
  if (opt.report.empty() && opt.db.empty()) return -1;
  // Neither may replace the trace being read.
  for (const std::string* path : {&opt.report, &opt.db}) {
    struct stat in, out;
    int fd = run.rd.file.fd();
    if (!path->empty() && fd >= 0 && fstat(fd, &in) == 0 && stat(path->c_str(), &out) == 0 &&
        in.st_dev == out.st_dev && in.st_ino == out.st_ino) {
      run.out.err("%s: Output file is the input file\n", path->c_str());
      return 1;
    }
  }
  // One trace per run; a later merge of several gives each its own id.
  constexpr int64_t kTraceId = 1;
  run.an = std::make_unique<Collector>(kTraceId, !opt.report.empty(), !opt.db.empty());
  run.an->file = opt.inpfile;
  for (int i = 1; i < argc; ++i) {
    if (argv[i] == opt.inpfile && i == argc - 1) break;
    if (!run.an->options.empty()) run.an->options += ' ';
    run.an->options += argv[i];
  }
  if (!opt.db.empty()) {
    std::string error;
    auto db = store::Store::open(opt.db, kTraceId, error);
    if (!db) {
      run.out.err("%s: %s: %s\n", opt.progname.c_str(), opt.db.c_str(), error.c_str());
      run.an.reset();
      return 1;
    }
    run.an->setSink(std::move(db));
    // The rows' fields come from the JSON renderer; without -json it works
    // beside the listing and writes no lines of its own.
    if (!run.json) {
      run.json = std::make_unique<JsonRender>(run.out, run.rd);
      run.json->setLines(false);
      run.em.setJson(run.json.get(), true);
    }
    run.json->setFieldsSink(run.an.get());
  }
  return -1;
}

bool writeOutputs(Run& run) {
  Collector& c = *run.an;
  c.finish(run);
  bool ok = true;
  std::string error;
  if (c.sink() && !c.sink()->finish(c, error)) {
    run.out.err("%s: %s: %s\n", run.opt.progname.c_str(), run.opt.db.c_str(), error.c_str());
    ok = false;
  }
  c.setSink(nullptr);  // closes the database
  if (!run.opt.report.empty() && !report::writeHtml(c, run.opt.report, error)) {
    run.out.err("%s: %s: %s\n", run.opt.progname.c_str(), run.opt.report.c_str(), error.c_str());
    ok = false;
  }
  return ok;
}

}  // namespace wp::analysis
