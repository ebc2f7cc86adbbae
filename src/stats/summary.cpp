#include "stats/summary.h"

#include <cstring>
#include <string>

#include "driver/run.h"
#include "stats/timing.h"
#include "values/codeset.h"

namespace wp {

namespace {

void rule(Output& out, char c, int n, const char* end) {
  std::string line(static_cast<size_t>(n), c);
  out.printf("%s%s", line.c_str(), end);
}

double average(double sum, int32_t count) {
  return count ? sum / count : 0.0;
}

}  // namespace

void recordCommand(Run& run, const char* text, int32_t len, int prepared) {
  CommandList& c = run.cmds;
  if (c.count >= CommandList::kMax) return;
  CommandList::Entry& e = c.entries[c.count++];
  e.prepared = prepared;
  e.length = len;
  e.trace = 0;
  int32_t keep = len < 0 ? 0 : (len >= CommandList::kTextSize ? CommandList::kTextSize - 1 : len);
  if (keep > 0) memcpy(e.text, text, static_cast<size_t>(keep));
  e.text[keep] = '\0';
}

namespace {

void printCommandList(Run& run) {
  Output& out = run.out;
  rule(out, '=', 71, "\n");
  out.printf("  COMMAND TEXT INFORMATION (first %d are listed)\n", CommandList::kMax);
  out.printf("a(    b) CMD[##]= '  first %d bytes of cmd text '\n", CommandList::kTextSize);
  out.printf("where a = 'P'repare, or 'N'ot prepared, and b = length of command string\n");
  rule(out, '-', 71, "\n");
  const CommandList& c = run.cmds;
  for (int32_t i = 0; i < c.count; ++i) {
    const CommandList::Entry& e = c.entries[i];
    out.printf("%c(%5d) CMD[%2d]=", e.prepared ? 'P' : 'N', e.length, i);
    int32_t n = 0;
    if (convertsRead(run)) n = docsc(run, e.text, static_cast<int32_t>(strlen(e.text)));
    if (n > 0)
      out.printf("'%.*s'", n, run.cs.rubuf.data());
    else
      out.printf("'%s'", e.text);
    if (run.opt.inputs.size() > 1) out.printf("  (%s)", traceName(run.opt, e.trace));
    out.printf("\n");
  }
  rule(out, '-', 71, "\n");
  out.printf("\n");
  rule(out, '=', 71, "\n");
}

void printCounters(Run& run) {
  Output& out = run.out;
  const SummaryCounters& s = run.sum;
  if (s.opt_stats_ptr)
    out.printf(" Fetch Array feature used %d times, avg array size = %f\n", s.opt_stats_ptr,
               s.fetarr_sum / s.opt_stats_ptr);
  else
    out.printf(" Fetch Array feature not used\n");
  if (s.open_saved)
    out.printf(" OPTOFC feture used, and %d open message saved\n", s.open_saved);
  else
    out.printf(" OPTOFC feture not used\n");
  out.printf(" Number of open/reoptimzation encountered = %d\n", s.reopt);
  out.printf(" Number of C->S message send = %d\n", s.cs_packets);
  out.printf(" Number of S->C message send = %d\n", s.sc_packets);
  out.printf("\n");
  out.printf(" Number of prepare statements encountered = %d\n", s.prepares);
  out.printf(" Number of execute statements encountered = %d\n", s.executes);
  out.printf(" Number of   singleton select encountered = %d\n", s.selects);
  out.printf(" Number of        open cursor encountered = %d\n", s.opens);
  out.printf(" Number of       close cursor encountered = %d\n", s.closes);
  out.printf("\n");
  out.printf(" Number of   non-blob put = %d, averge size of each   put is %f\n", s.put_count,
             average(s.put_bytes, s.put_count));
  out.printf(" Number of non-blob fetch = %d, averge size of each fetch is %f\n", s.fetch_count,
             average(s.fetch_bytes, s.fetch_count));
  out.printf(" Number of       blob put = %d, averge size of each   put is %f\n", s.blob_put_count,
             average(s.blob_put_bytes, s.blob_put_count));
  out.printf(" Number of     blob fetch = %d, averge size of each fetch is %f\n",
             s.blob_fetch_count, average(s.blob_fetch_bytes, s.blob_fetch_count));
  out.printf("\n");
}

}  // namespace

void printSummary(Run& run) {
  Output& out = run.out;
  const Timing& t = run.timing;
  out.printf("\n\n");
  out.printf(">>>>>>>>>>>>>>>>>> SUMMARY INFORMATION <<<<<<<<<<<<<<<<<\n\n");
  out.printf(">>>>>>>>>>TOTAL ELAPSED CLOCK TIME (sec): %f\n\n",
             run.rd.time_fl - run.rd.very_first_time_fl);
  out.printf(">>>>>>>>>>CLIENT ELAPSED CLOCK TIME (sec): %f\n\n", t.client_time_fl);
  out.printf(">>>>>>>>>>SERVER+NETWORK CLOCK TIME (sec): %f\n\n", t.server_time_fl);
  print_stats_ptr(run, 99);
  print_stats_ptr(run, 115);
  printCommandList(run);
  printCounters(run);
  out.printf(">>>>>>>>>>>>>>> END SUMMARY INFORMATION <<<<<<<<<<<<<<<\n\n");
  out.flush();
}

}  // namespace wp
