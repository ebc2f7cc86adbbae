#include "driver/run.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "analysis/outputs.h"
#include "input/interrupt.h"
#include "messages/dispatch.h"
#include "traces/traces.h"

namespace wp {

void Run::dbg(const char* fmt, ...) {
  if (!opt.g_idbg) return;
  va_list ap;
  va_start(ap, fmt);
  out.verr(fmt, ap);
  va_end(ap);
}

namespace {

// A notice on standard output; with -json it is an object of the stream.
void notice(Run& run, const char* text) {
  if (run.em.listing()) {
    run.out.out("%s", text);
    return;
  }
  std::string t(text);
  while (!t.empty() && t.back() == '\n') t.pop_back();
  run.em.beginRecord("notice");
  run.em.also("text", t);
  run.em.endRecord();
}

// Start-up up to the opened trace file. Returns -1 to go on, else the status.
int startUp(Run& run, int argc, char** argv, EnvLookup env) {
  Options& opt = run.opt;
  // The tool never writes a trace of its own: it has no client library inside
  // that would look at SQLIDEBUG, so the user's value is only read here.
  const char* sqlidebug = env("SQLIDEBUG");
  if (const char* dbg = env("WIREPRINTDBG")) {
    if (strtol(dbg, nullptr, 10) == 1) opt.g_idbg = 1;
  }
  // Benchmarks measure what buffering the listing buys against a flush per line.
  if (const char* lf = env("WIREPRINT_LINEFLUSH")) {
    if (strcmp(lf, "1") == 0) run.out.setLineFlush(true);
  }
  const char* slash = argc > 0 ? strrchr(argv[0], '/') : nullptr;
  opt.progname = argc > 0 ? (slash ? slash + 1 : argv[0]) : "wireprint";

  int status = parseArgs(argc, argv, opt, run.out);
  if (status >= 0) return status;
  if (opt.json) {
    run.json = std::make_unique<JsonRender>(run.out, run.rd);
    run.em.setJson(run.json.get());
  }
  if (!opt.timestamp && opt.cmd_time) {
    notice(run, "-notimestamp is set, so -cmd_time will be ignored\n");
    opt.cmd_time = 0;
  }
  if (opt.inpfile.empty()) {
    if (!sqlidebug) {
      run.out.err("Specify 'inpfile' OR set environment variable %s.\n", "SQLIDEBUG");
      return 1;
    }
    if (strncmp(sqlidebug, "2:", 2) != 0 || sqlidebug[2] == '\0') {
      run.out.err("Invalid syntax for %s environment variable.\n", "SQLIDEBUG");
      return 1;
    }
    opt.inpfile = sqlidebug + 2;
    opt.inputs.push_back(opt.inpfile);
  }

  if (int err = initCodeset(run, env("WIREPRINT_CODESET"))) {
    if (!run.em.listing()) {
      run.em.beginRecord("notice");
      run.em.also("text", "No codeset conversion: failure of GLS initialization");
      run.em.also("code", err);
      run.em.endRecord();
    } else {
      if (opt.needcsc) run.out.printf("Warning: No codeset convertion will be processed due to\n");
      run.out.printf("         failure of GLS initialization (%d)\n", err);
    }
    opt.needcsc = 0;
  }
  run.thr.reset();
  run.timing.cs_stats.reset();
  run.timing.sc_stats.reset();

  if (opt.follow) run.rd.file.follow(catchInterrupt());
  if (opt.inputs.size() > 1) {
    // Each trace is opened by its own run, later; none may be the listing's
    // file, which is emptied now.
    for (const std::string& in : opt.inputs) {
      int fd = in == "-" ? 0 : open(in.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
      const char* same = run.out.sameFileAs(fd);
      if (fd > 0) close(fd);
      if (same) {
        run.out.err("%s: Output file is the input file\n", same);
        return 1;
      }
    }
    if (int st = analysis::startOutputs(run, argc, argv); st >= 0) return st;
    run.out.startListing();
    return -1;
  }
  // Tests and the fuzzer hand the trace over in memory.
  run.rd.file.decompressAhead(true);
  if (!run.rd.file.isOpen() && !run.rd.file.open(opt.inpfile)) {
    run.out.perror(opt.inpfile.c_str());
    return 1;
  }
  // Writing the listing over the trace would destroy what is being read.
  if (const char* same = run.out.sameFileAs(run.rd.file.fd())) {
    run.out.err("%s: Output file is the input file\n", same);
    return 1;
  }
  if (int st = analysis::startOutputs(run, argc, argv); st >= 0) return st;
  run.out.startListing();
  return -1;
}

}  // namespace

void readPackets(Run& run) {
  if (!run.opt.filter.active()) {
    while (getpacket(run, nullptr, 0) == 0) printpacket(run);
    return;
  }
  while (filteredGetpacket(run) == 0) {
    printpacket(run);
    filteredPacketDone(run);
  }
  filteredEnd(run);
}

void endOfRun(Run& run) {
  if (run.opt.summary) printSummary(run);
  if (run.opt.stmtstats) printStatementReport(run);
}

int runMain(Run& run, int argc, char** argv, EnvLookup env) {
  int status = 0;
  try {
    try {
      status = startUp(run, argc, argv, env);
      if (status >= 0) {
        // ended by the arguments
      } else if (run.opt.inputs.size() > 1) {
        status = runTraces(run, env);
      } else {
        if (readHeader(run)) readPackets(run);
        endOfRun(run);
        status = 0;
      }
    } catch (const Exit& e) {
      status = e.status;
    }
    run.em.finish();
    // Also after a damaged trace cut the run short.
    if (run.an && !analysis::writeOutputs(run) && status == 0) status = 1;
    run.out.finish();
  } catch (const WriteError&) {
  }
  // A listing that did not reach its destination fails the run, whatever
  // else happened.
  if (run.out.writeError()) {
    run.out.reportWriteError(run.opt.progname.empty() ? "wireprint" : run.opt.progname.c_str());
    return 2;
  }
  return status;
}

}  // namespace wp
