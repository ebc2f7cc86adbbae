#include "stats/summary.h"

#include <cstring>
#include <string>
#include <string_view>

#include "driver/run.h"
#include "stats/timing.h"
#include "values/codeset.h"

namespace wp {

namespace {

void rule(Emit& em, char c, int n, const char* end) {
  std::string line(static_cast<size_t>(n), c);
  em.text("%s%s", line.c_str(), end);
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
  Emit& em = run.em;
  rule(em, '=', 71, "\n");
  em.text("  COMMAND TEXT INFORMATION (first %d are listed)\n", CommandList::kMax);
  em.text("a(    b) CMD[##]= '  first %d bytes of cmd text '\n", CommandList::kTextSize);
  em.text("where a = 'P'repare, or 'N'ot prepared, and b = length of command string\n");
  rule(em, '-', 71, "\n");
  const CommandList& c = run.cmds;
  em.open("commands", Emit::kList);
  for (int32_t i = 0; i < c.count; ++i) {
    const CommandList::Entry& e = c.entries[i];
    em.open(nullptr);
    em.field("prepared", e.prepared ? "P" : "N", "%c", e.prepared ? 'P' : 'N');
    em.field("length", e.length, "(%5d) CMD[%2d]=", e.length, i);
    int32_t n = 0;
    if (convertsRead(run)) n = docsc(run, e.text, static_cast<int32_t>(strlen(e.text)));
    if (n > 0)
      em.field("text", std::string_view(run.cs.rubuf.data(), static_cast<size_t>(n)), "'%.*s'", n,
               run.cs.rubuf.data());
    else
      em.field("text", e.text, "'%s'", e.text);
    if (run.opt.inputs.size() > 1)
      em.field("trace", traceName(run.opt, e.trace), "  (%s)", traceName(run.opt, e.trace));
    em.text("\n");
    em.close();
  }
  em.close();
  rule(em, '-', 71, "\n");
  em.text("\n");
  rule(em, '=', 71, "\n");
}

void printCounters(Run& run) {
  Emit& em = run.em;
  const SummaryCounters& s = run.sum;
  if (s.opt_stats_ptr) {
    double avg = s.fetarr_sum / s.opt_stats_ptr;
    em.field("fetch_array_used", s.opt_stats_ptr,
             " Fetch Array feature used %d times, avg array size = %f\n", s.opt_stats_ptr, avg);
    em.also("fetch_array_avg_size", avg);
  } else {
    em.field("fetch_array_used", 0, " Fetch Array feature not used\n");
  }
  if (s.open_saved)
    em.field("optofc_open_saved", s.open_saved, " OPTOFC feture used, and %d open message saved\n",
             s.open_saved);
  else
    em.field("optofc_open_saved", 0, " OPTOFC feture not used\n");
  em.field("reoptimizations", s.reopt, " Number of open/reoptimzation encountered = %d\n", s.reopt);
  em.field("cs_packets", s.cs_packets, " Number of C->S message send = %d\n", s.cs_packets);
  em.field("sc_packets", s.sc_packets, " Number of S->C message send = %d\n", s.sc_packets);
  em.text("\n");
  em.field("prepares", s.prepares, " Number of prepare statements encountered = %d\n", s.prepares);
  em.field("executes", s.executes, " Number of execute statements encountered = %d\n", s.executes);
  em.field("singleton_selects", s.selects, " Number of   singleton select encountered = %d\n",
           s.selects);
  em.field("open_cursors", s.opens, " Number of        open cursor encountered = %d\n", s.opens);
  em.field("close_cursors", s.closes, " Number of       close cursor encountered = %d\n", s.closes);
  em.text("\n");
  double put = average(s.put_bytes, s.put_count);
  em.field("put_count", s.put_count,
           " Number of   non-blob put = %d, averge size of each   put is %f\n", s.put_count, put);
  em.also("put_avg_size", put);
  double fetch = average(s.fetch_bytes, s.fetch_count);
  em.field("fetch_count", s.fetch_count,
           " Number of non-blob fetch = %d, averge size of each fetch is %f\n", s.fetch_count,
           fetch);
  em.also("fetch_avg_size", fetch);
  double blobPut = average(s.blob_put_bytes, s.blob_put_count);
  em.field("blob_put_count", s.blob_put_count,
           " Number of       blob put = %d, averge size of each   put is %f\n", s.blob_put_count,
           blobPut);
  em.also("blob_put_avg_size", blobPut);
  double blobFetch = average(s.blob_fetch_bytes, s.blob_fetch_count);
  em.field("blob_fetch_count", s.blob_fetch_count,
           " Number of     blob fetch = %d, averge size of each fetch is %f\n", s.blob_fetch_count,
           blobFetch);
  em.also("blob_fetch_avg_size", blobFetch);
  em.text("\n");
}

}  // namespace

// JSON: one "summary" object.
void printSummary(Run& run) {
  Emit& em = run.em;
  const Timing& t = run.timing;
  em.beginRecord("summary");
  em.text("\n\n");
  em.text(">>>>>>>>>>>>>>>>>> SUMMARY INFORMATION <<<<<<<<<<<<<<<<<\n\n");
  double total = run.rd.time_fl - run.rd.very_first_time_fl;
  em.field("total_elapsed", total, ">>>>>>>>>>TOTAL ELAPSED CLOCK TIME (sec): %f\n\n", total);
  em.field("client_elapsed", t.client_time_fl, ">>>>>>>>>>CLIENT ELAPSED CLOCK TIME (sec): %f\n\n",
           t.client_time_fl);
  em.field("server_network", t.server_time_fl, ">>>>>>>>>>SERVER+NETWORK CLOCK TIME (sec): %f\n\n",
           t.server_time_fl);
  print_stats_ptr(run, 99);
  print_stats_ptr(run, 115);
  printCommandList(run);
  printCounters(run);
  em.text(">>>>>>>>>>>>>>> END SUMMARY INFORMATION <<<<<<<<<<<<<<<\n\n");
  em.endRecord();
  run.out.flush();
}

}  // namespace wp
