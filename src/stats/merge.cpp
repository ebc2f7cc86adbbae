#include "stats/merge.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <unordered_map>

#include "driver/run.h"

namespace wp {

namespace {

void mergeCounters(SummaryCounters& a, const SummaryCounters& b) {
  a.opt_stats_ptr = addCount(a.opt_stats_ptr, b.opt_stats_ptr);
  a.fetarr_sum += b.fetarr_sum;
  a.open_saved = addCount(a.open_saved, b.open_saved);
  a.reopt = addCount(a.reopt, b.reopt);
  a.prepares = addCount(a.prepares, b.prepares);
  a.executes = addCount(a.executes, b.executes);
  a.selects = addCount(a.selects, b.selects);
  a.opens = addCount(a.opens, b.opens);
  a.closes = addCount(a.closes, b.closes);
  a.put_count = addCount(a.put_count, b.put_count);
  a.put_bytes += b.put_bytes;
  a.fetch_count = addCount(a.fetch_count, b.fetch_count);
  a.fetch_bytes += b.fetch_bytes;
  a.blob_put_count = addCount(a.blob_put_count, b.blob_put_count);
  a.blob_put_bytes += b.blob_put_bytes;
  a.blob_fetch_count = addCount(a.blob_fetch_count, b.blob_fetch_count);
  a.blob_fetch_bytes += b.blob_fetch_bytes;
  a.cs_packets = addCount(a.cs_packets, b.cs_packets);
  a.sc_packets = addCount(a.sc_packets, b.sc_packets);
}

void mergeTable(MsgStats& a, const MsgStats& b) {
  for (int i = 0; i < MsgStats::kSlots; ++i) {
    a.count[i] = addCount(a.count[i], b.count[i]);
    a.total[i] += b.total[i];
    a.min[i] = std::min(a.min[i], b.min[i]);
    a.max[i] = std::max(a.max[i], b.max[i]);
  }
}

void mergeCommands(CommandList& a, const CommandList& b, int32_t trace) {
  for (int32_t i = 0; i < b.count && a.count < CommandList::kMax; ++i) {
    a.entries[a.count] = b.entries[i];
    a.entries[a.count++].trace = trace;
  }
}

}  // namespace

void mergeRun(Run& into, Run& from, int32_t trace) {
  mergeCounters(into.sum, from.sum);
  Timing& a = into.timing;
  const Timing& b = from.timing;
  mergeTable(a.cs_stats, b.cs_stats);
  mergeTable(a.sc_stats, b.sc_stats);
  a.client_time_fl += b.client_time_fl;
  a.server_time_fl += b.server_time_fl;
  // The summary's elapsed time is time_fl less very_first_time_fl.
  into.rd.time_fl += from.rd.time_fl - from.rd.very_first_time_fl;
  mergeCommands(into.cmds, from.cmds, trace);
  auto& list = from.stmts.list;
  prepareMerge(from, trace);
  into.stmts.list.insert(into.stmts.list.end(), std::make_move_iterator(list.begin()),
                         std::make_move_iterator(list.end()));
  list.clear();
}

void prepareMerge(Run& run, int32_t trace) {
  StmtStats& st = run.stmts;
  if (!st.byKey.empty()) {
    for (StmtStat& s : st.list) s.trace = trace;
    if (run.opt.stmtstats && run.opt.stmtgroup && !run.opt.g_idbg)
      groupStatements(run, run.opt.stmtthread);
    std::unordered_map<uint64_t, std::set<uint32_t>>().swap(st.byKey);
  }
}

}  // namespace wp
