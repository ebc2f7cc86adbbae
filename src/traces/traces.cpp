#include "traces/traces.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "analysis/outputs.h"
#include "stats/merge.h"
#include "traces/sink.h"
#include "values/codeset.h"

namespace wp {

namespace {

// One trace: its sink outlives its run, which writes to it to the last.
struct Slot {
  std::unique_ptr<TraceSink> sink;
  std::unique_ptr<Run> run;
  std::unique_ptr<analysis::TraceOutputs> outputs;  // with -report or -db
  int status = 0;
  bool done = false;
};

// Opens the trace, names it, and decodes it to its end.
int decodeTrace(Run& run, int32_t index) {
  try {
    const char* name = traceName(run.opt, index);
    if (index > 0) run.em.text("\n");
    run.em.beginRecord("trace");
    run.em.also("index", index);
    run.em.field("name", name, "==> %s <==\n", name);
    run.em.endRecord();
    run.out.flush();
    if (!run.rd.file.open(run.opt.inpfile)) {
      int err = errno;
      run.out.perror(run.opt.inpfile.c_str());
      if (run.an) run.an->failure = strerror(err);
      return 1;
    }
    if (readHeader(run)) readPackets(run);
    run.em.finish();
    run.out.sync();
  } catch (const Exit& e) {
    try {
      run.em.finish();
      run.out.sync();
    } catch (const WriteError&) {
      return 2;
    }
    return e.status;
  } catch (const WriteError&) {
    // The sink holds the reason; the run of all traces reports it.
    return 2;
  }
  return 0;
}

// The trace in its job: decoded, its statements readied for the merge, its
// report and database part completed.
int runTrace(Slot& s, int32_t index, bool direct) {
  if (s.outputs) s.outputs->begin(*s.run, direct);
  int status = decodeTrace(*s.run, index);
  if (s.outputs) s.outputs->end(*s.run);
  prepareMerge(*s.run, index);
  return status;
}

// In the main thread, in argument order, once the trace's job is done.
void takeIn(Run& main, Slot& s) {
  if (!s.outputs) return;
  s.outputs->absorb(main, *s.run);
  s.outputs.reset();
}

}  // namespace

int runTraces(Run& main, EnvLookup env) {
  const Options& opt = main.opt;
  const size_t n = opt.inputs.size();
  main.out.sync();
  FILE* listing = main.out.listingStream();
  std::vector<Slot> slots(n);
  for (size_t i = 0; i < n; ++i) {
    Slot& s = slots[i];
    s.sink = std::make_unique<TraceSink>(listing, main.out.outputStream(), main.out.errorStream());
    s.run = std::make_unique<Run>();
    Run& r = *s.run;
    r.opt = opt;
    r.opt.inpfile = opt.inputs[i];
    // Code set conversion sets the locale: done here, before any thread.
    if (initCodeset(r, env("WIREPRINT_CODESET"))) r.opt.needcsc = 0;
    r.thr.reset();
    r.timing.cs_stats.reset();
    r.timing.sc_stats.reset();
    if (opt.json) {
      r.json = std::make_unique<JsonRender>(r.out, r.rd);
      r.em.setJson(r.json.get());
    }
    r.rd.file.decompressAhead(true);
    if (opt.follow && i + 1 == n) r.rd.file.follow(main.rd.file.followFlag());
    s.sink->attach(r.out);
    if (main.an)
      s.outputs = std::make_unique<analysis::TraceOutputs>(main, r, static_cast<int32_t>(i));
  }

  unsigned cores = std::max(1u, std::thread::hardware_concurrency());
  size_t jobs = std::min<size_t>(n, opt.jobs > 0 ? static_cast<size_t>(opt.jobs) : cores);
  if (jobs <= 1) {
    for (size_t i = 0; i < n; ++i) {
      slots[i].sink->goDirect();
      slots[i].status = runTrace(slots[i], static_cast<int32_t>(i), true);
      takeIn(main, slots[i]);
    }
  } else {
    std::mutex m;
    std::condition_variable cv;
    std::atomic<size_t> next{0};
    size_t absorbed = 0;  // traces taken in by the main thread
    auto work = [&] {
      for (size_t i; (i = next++) < n;) {
        bool direct;
        {
          std::lock_guard<std::mutex> lk(m);
          direct = absorbed == i;
        }
        int status = runTrace(slots[i], static_cast<int32_t>(i), direct);
        std::lock_guard<std::mutex> lk(m);
        slots[i].status = status;
        slots[i].done = true;
        cv.notify_all();
      }
    };
    std::vector<std::thread> workers;
    for (size_t k = 0; k < jobs; ++k) workers.emplace_back(work);
    // Each trace writes through once all before it are out.
    for (size_t i = 0; i < n; ++i) {
      slots[i].sink->goDirect();
      std::unique_lock<std::mutex> lk(m);
      cv.wait(lk, [&] { return slots[i].done; });
      lk.unlock();
      takeIn(main, slots[i]);
      lk.lock();
      absorbed = i + 1;
    }
    for (auto& w : workers) w.join();
  }

  // The first write that failed, in trace order, fails the whole run.
  for (size_t i = 0; i < n; ++i) {
    if (int err = slots[i].sink->error()) {
      bool inFile = slots[i].sink->errorInListing() && !main.out.toStdout();
      slots.clear();
      main.out.failWith(err, inFile);
    }
  }
  int status = 0;
  for (size_t i = 0; i < n; ++i) {
    status = std::max(status, slots[i].status);
    mergeRun(main, *slots[i].run, static_cast<int32_t>(i));
  }
  slots.clear();
  // The traces that could be read are summed up even when one could not.
  endOfRun(main);
  return status;
}

}  // namespace wp
