#include "stats/timing.h"

#include <cstring>
#include <string>

#include "driver/run.h"
#include "stats/stmtstats.h"
#include "values/codeset.h"

namespace wp {

namespace {

// Smallest-charge field of a type never timed.
constexpr double kNoMin = 10000000.0;

bool timed(int32_t type) {
  return sqmsgflag(type) & kTimed;
}

void rule(Output& out, char c, int n, const char* end) {
  std::string line(static_cast<size_t>(n), c);
  out.printf("%s%s", line.c_str(), end);
}

double average(double sum, int32_t count) {
  return count ? sum / count : 0.0;
}

}  // namespace

void MsgStats::reset() {
  for (int i = 0; i < kSlots; ++i) {
    count[i] = 0;
    total[i] = 0;
    min[i] = kNoMin;
    max[i] = 0;
  }
}

void recordCommand(Run& run, const char* text, int32_t len, int prepared) {
  CommandList& c = run.cmds;
  if (c.count >= CommandList::kMax) return;
  CommandList::Entry& e = c.entries[c.count++];
  e.prepared = prepared;
  e.length = len;
  int32_t keep = len < 0 ? 0 : (len >= CommandList::kTextSize ? CommandList::kTextSize - 1 : len);
  if (keep > 0) memcpy(e.text, text, static_cast<size_t>(keep));
  e.text[keep] = '\0';
}

void store_prev(Run& run, int32_t type, int32_t thread, int32_t stmtid) {
  // Negative types compare as huge; 140 still fits the tables' spare slot.
  if (static_cast<uint32_t>(type) > kNumTypes) return;
  Timing& t = run.timing;
  for (int32_t i = 0; i < t.g_inopr; ++i) {
    if (t.g_prevs[i].type == type) {
      ++t.g_prevs[i].count;
      return;
    }
  }
  // A full list drops further distinct types: they are neither counted nor
  // timed.
  if (t.g_inopr >= Timing::kMaxPrevs) return;
  t.g_prevs[t.g_inopr++] = PrevEntry{type, 1, thread, stmtid};
}

void chargePrevious(Run& run, double elapsed) {
  Timing& t = run.timing;
  if (t.g_inopr == 0) return;
  int32_t k = 0;
  for (int32_t i = 0; i < t.g_inopr; ++i)
    if (timed(t.g_prevs[i].type)) ++k;
  // The packet's time is shared by its timed types, not by their occurrences.
  double share = k ? elapsed / k : 0.0;
  MsgStats& s = *t.stats_ptr;
  for (int32_t i = 0; i < t.g_inopr; ++i) {
    const PrevEntry& e = t.g_prevs[i];
    run.dbg("PrevCmd[%d]: %s cnt=%d stats_ptr=%x\n", i, sqmsgname(e.type), e.count,
            static_cast<unsigned>(reinterpret_cast<uintptr_t>(t.stats_ptr)));
    s.count[e.type] += e.count;
    bool isTimed = timed(e.type);
    if (isTimed) {
      s.total[e.type] += share;
      if (share < s.min[e.type]) s.min[e.type] = share;
      if (share > s.max[e.type]) s.max[e.type] = share;
    }
    if (run.opt.stmtstats && (sqmsgflag(e.type) & kStmtMsg))
      stmt_stat(run, e.thread, e.stmtid, e.type, 0, e.count, isTimed ? share : 0.0);
  }
  t.g_inopr = 0;
}

void directionTime(Run& run, bool client, bool first) {
  Timing& t = run.timing;
  double now = run.rd.time_fl;
  if (client)
    t.c_to_s_fl = now;
  else
    t.s_to_c_fl = now;
  if (first) return;
  // Taken afresh at every packet: a run of packets in one direction adds the
  // span back to the other direction's latest packet each time.
  if (t.c_to_s_fl > t.s_to_c_fl)
    t.client_time_fl += t.c_to_s_fl - t.s_to_c_fl;
  else
    t.server_time_fl += t.s_to_c_fl - t.c_to_s_fl;
}

void print_stats_ptr(Run& run, int which) {
  Timing& t = run.timing;
  t.stats_ptr = which == 99 ? &t.cs_stats : &t.sc_stats;
  const MsgStats& s = *t.stats_ptr;
  Output& out = run.out;
  out.printf("FROM %s\n", which == 99 ? "C->S" : "S->C");
  out.printf("Msg          occured    Total        Avg         Min         Max\n");
  rule(out, '-', 66, "\n");
  for (int type = 0; type < kNumTypes; ++type) {
    if (s.count[type] == 0) continue;
    out.printf("%-12s ", sqmsgname(type));
    out.printf("%5d    ", s.count[type]);
    if (timed(type)) {
      char total[64], avg[64], min[64], max[64];
      snprintf(total, sizeof total, "%6f", s.total[type]);
      snprintf(avg, sizeof avg, "%6f", s.total[type] / s.count[type]);
      snprintf(min, sizeof min, "%6f", s.min[type] >= kNoMin ? 0.0 : s.min[type]);
      snprintf(max, sizeof max, "%6f", s.max[type]);
      out.printf("%6s    %6s    %6s    %6s", total, avg, min, max);
    }
    out.printf("\n");
  }
  rule(out, '-', 66, "\n\n");
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
      out.printf("'%.*s'\n", n, run.cs.rubuf.data());
    else
      out.printf("'%s'\n", e.text);
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
