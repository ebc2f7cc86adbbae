// Sets up and writes the report and the database of a run.
#include "analysis/outputs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "analysis/collector.h"
#include "driver/run.h"
#include "render/json_render.h"
#include "report/html.h"
#include "store/store.h"

namespace wp::analysis {

namespace {

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether `path` is one of the traces being read.
bool isATrace(const Run& run, const std::string& path) {
  struct stat out, in;
  if (path.empty() || stat(path.c_str(), &out) != 0) return false;
  const Options& opt = run.opt;
  if (opt.inputs.size() <= 1) {
    int fd = run.rd.file.fd();
    return fd >= 0 && fstat(fd, &in) == 0 && sameFile(in, out);
  }
  for (const std::string& name : opt.inputs)
    if (name != "-" && stat(name.c_str(), &in) == 0 && sameFile(in, out)) return true;
  return false;
}

store::Store* storeOf(Collector& c) {
  return static_cast<store::Store*>(c.sink());
}

// The message rows' fields come from the JSON renderer; without -json it
// works beside the listing and writes no lines of its own.
void keepFields(Run& run) {
  if (!run.json) {
    run.json = std::make_unique<JsonRender>(run.out, run.rd);
    run.json->setLines(false);
    run.em.setJson(run.json.get(), true);
  }
  run.json->setFieldsSink(run.an.get());
}

}  // namespace

int startOutputs(Run& run, int argc, char** argv) {
  const Options& opt = run.opt;
  if (opt.report.empty() && opt.db.empty()) return -1;
  // Neither may replace a trace being read.
  for (const std::string* path : {&opt.report, &opt.db}) {
    if (isATrace(run, *path)) {
      run.out.err("%s: Output file is the input file\n", path->c_str());
      return 1;
    }
  }
  // One trace has id 1; of several, each has its own and this collector
  // takes them in.
  bool several = opt.inputs.size() > 1;
  int64_t id = several ? 0 : 1;
  run.an = std::make_unique<Collector>(id, !opt.report.empty(), !opt.db.empty());
  // Named as the listing names it ("standard input" for "-").
  if (!several) run.an->file = opt.inpfile == "-" ? "standard input" : opt.inpfile;
  // The options: the arguments before the traces, less the jobs, which
  // change how the run went, not what it found.
  size_t n = opt.inputs.size();
  for (int i = 1; i < argc; ++i) {
    size_t from = static_cast<size_t>(argc) - n;
    if (static_cast<size_t>(i) >= from && argv[i] == opt.inputs[static_cast<size_t>(i) - from])
      break;
    if (strcmp(argv[i], "-j") == 0 && i + 1 < argc) {
      ++i;
      continue;
    }
    if (!run.an->options.empty()) run.an->options += ' ';
    run.an->options += argv[i];
  }
  if (!opt.db.empty()) {
    std::string error;
    auto db = store::Store::open(opt.db, id, error);
    if (!db) {
      run.out.err("%s: %s: %s\n", opt.progname.c_str(), opt.db.c_str(), error.c_str());
      run.an.reset();
      return 1;
    }
    run.an->setSink(std::move(db));
    // Of several traces, each one's run decodes and keeps its own fields.
    if (!several) keepFields(run);
  }
  return -1;
}

bool writeOutputs(Run& run) {
  Collector& c = *run.an;
  if (!c.merged()) c.finish(run);
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

TraceOutputs::TraceOutputs(Run& main, Run& trace, int32_t index)
    : index_(index), all_(storeOf(*main.an)) {
  const Options& opt = main.opt;
  auto c = std::make_unique<Collector>(index + 1, !opt.report.empty(), !opt.db.empty());
  c->file = traceName(opt, index);
  c->options = main.an->options;
  trace.an = std::move(c);
  if (all_) keepFields(trace);
}

TraceOutputs::~TraceOutputs() {
  if (!part_.empty()) ::remove(part_.c_str());
}

void TraceOutputs::begin(Run& trace, bool direct) {
  if (!all_) return;
  if (direct) {
    direct_ = true;
    trace.an->setSink(std::make_unique<store::TraceWriter>(*all_, index_ + 1));
    return;
  }
  std::string name = trace.opt.db + ".part" + std::to_string(index_ + 1) + "-XXXXXX";
  int fd = mkstemp(name.data());
  if (fd < 0) {
    error_ = std::string("temporary file: ") + strerror(errno);
    return;
  }
  close(fd);
  part_ = name;
  auto db = store::Store::open(part_, index_ + 1, error_);
  if (db) trace.an->setSink(std::move(db));
}

void TraceOutputs::end(Run& trace) {
  Collector& c = *trace.an;
  c.finish(trace);
  std::string error;
  if (c.sink() && !c.sink()->finish(c, error) && error_.empty()) error_ = error;
  c.setSink(nullptr);
}

void TraceOutputs::absorb(Run& main, Run& trace) {
  if (all_) {
    if (error_.empty() && !direct_ && !part_.empty() && !all_->append(part_))
      error_ = "copy failed";
    if (!error_.empty()) all_->fail(error_);
  }
  main.an->absorb(*trace.an, index_);
  if (trace.json) trace.json->setFieldsSink(nullptr);
  trace.an.reset();
  if (!part_.empty()) ::remove(part_.c_str());
  part_.clear();
}

}  // namespace wp::analysis
