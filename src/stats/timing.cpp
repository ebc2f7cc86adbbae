#include "stats/timing.h"

#include <cstring>
#include <string>

#include "driver/run.h"
#include "stats/stmtstats.h"

namespace wp {

namespace {

// Smallest-charge field of a type never timed.
constexpr double kNoMin = 10000000.0;

bool timed(int32_t type) {
  return sqmsgflag(type) & kTimed;
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

void store_prev(Run& run, int32_t type, int32_t thread, int32_t stmtid, int32_t times) {
  if (times <= 0) return;
  // Negative types compare as huge; 140 still fits the tables' spare slot.
  if (static_cast<uint32_t>(type) > kNumTypes) return;
  Timing& t = run.timing;
  for (int32_t i = 0; i < t.g_inopr; ++i) {
    if (t.g_prevs[i].type == type) {
      t.g_prevs[i].count = addCount(t.g_prevs[i].count, times);
      return;
    }
  }
  // A full list drops further distinct types: they are neither counted nor
  // timed.
  if (t.g_inopr >= Timing::kMaxPrevs) return;
  t.g_prevs[t.g_inopr++] = PrevEntry{type, times, thread, stmtid};
}

void chargePrevious(Run& run, double elapsed) {
  Timing& t = run.timing;
  if (t.g_inopr == 0) return;
  // Messages of a packet that a filter left out are not counted.
  if (!run.filt.counting) {
    t.g_inopr = 0;
    return;
  }
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
    s.count[e.type] = addCount(s.count[e.type], e.count);
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
  Emit& em = run.em;
  em.text("FROM %s\n", which == 99 ? "C->S" : "S->C");
  em.text("Msg          occured    Total        Avg         Min         Max\n");
  em.text("%s\n", std::string(66, '-').c_str());
  em.open(which == 99 ? "from_cs" : "from_sc", Emit::kList);
  for (int type = 0; type < kNumTypes; ++type) {
    if (s.count[type] == 0) continue;
    em.open(nullptr);
    em.field("msg", sqmsgname(type), "%-12s ", sqmsgname(type));
    em.field("count", s.count[type], "%5d    ", s.count[type]);
    if (timed(type)) {
      double min = s.min[type] >= kNoMin ? 0.0 : s.min[type];
      double avg = s.total[type] / s.count[type];
      char total[64], avgText[64], low[64], max[64];
      snprintf(total, sizeof total, "%6f", s.total[type]);
      snprintf(avgText, sizeof avgText, "%6f", avg);
      snprintf(low, sizeof low, "%6f", min);
      snprintf(max, sizeof max, "%6f", s.max[type]);
      em.field("total", s.total[type], "%6s    ", total);
      em.field("avg", avg, "%6s    ", avgText);
      em.field("min", min, "%6s    ", low);
      em.field("max", s.max[type], "%6s", max);
    }
    em.text("\n");
    em.close();
  }
  em.close();
  em.text("%s\n\n", std::string(66, '-').c_str());
}

}  // namespace wp
