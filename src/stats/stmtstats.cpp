#include "stats/stmtstats.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "driver/msgtable.h"
#include "driver/run.h"

namespace wp {

namespace {

// Keywords upper-cased by the normalisation, tried in this order.
constexpr const char* g_pcres[] = {
    "select", "insert", "update",   "delete",   "drop",    "create",     "table",  "index",
    "where",  "and",    "order by", "group by", "between", "alter",      "rename", "unique",
    "values", "from",   "set",      "into",     "temp",    "gorgonzola",
};

// Character classes of the C locale: the texts are bytes of any code set, and
// only these ASCII classes take part in the normalisation.
bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isQuote(char c) {
  return c == '\'' || c == '"';
}
// Characters after which a number is a literal of its own (not part of a name).
bool endsWord(char c) {
  return isSpace(c) || c == '(' || c == ')' || c == '=' || c == '>' || c == '<';
}
bool isSeparator(char c) {
  return endsWord(c);
}

// Pass 1: quoted literals become "?" and blanks; a number that starts after
// a word boundary becomes "?" and blanks.
void maskLiterals(std::string& t) {
  const size_t n = t.size();
  bool afterWord = false;
  for (size_t i = 0; i < n; ++i) {
    if (isQuote(t[i])) {
      t[i] = '?';
      // Either quote kind closes; an unterminated literal runs to the end.
      for (++i; i < n;) {
        char c = t[i];
        t[i++] = ' ';
        if (isQuote(c)) break;
      }
      if (i == n) return;
    }
    if (isDigit(t[i]) && !afterWord) {
      t[i] = '?';
      for (size_t k = i + 1; k < n && (isDigit(t[k]) || t[k] == '.'); ++k) t[k] = ' ';
    }
    afterWord = !endsWord(t[i]);
  }
}

// Pass 2: every run of whitespace keeps only its first character.
void collapseSpace(std::string& t) {
  size_t out = 0;
  for (size_t i = 0; i < t.size(); ++i) {
    if (isSpace(t[i]) && out > 0 && isSpace(t[out - 1])) continue;
    t[out++] = t[i];
  }
  t.resize(out);
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Pass 4: keywords at the start and after each separator. Only the prefix is
// compared, so "selection" becomes "SELECTion".
void upperKeywords(std::string& t) {
  const size_t n = t.size();
  size_t p = 0;
  while (p < n) {
    for (const char* kw : g_pcres) {
      size_t k = strlen(kw);
      if (k <= n - p && t.compare(p, k, kw) == 0) {
        for (size_t j = p; j < p + k; ++j) t[j] = upper(t[j]);
      }
    }
    while (p < n && !isSeparator(t[p])) ++p;
    if (p < n) ++p;
  }
}

uint64_t keyOf(int32_t thread, int32_t id) {
  return uint64_t{static_cast<uint32_t>(thread)} << 32 | static_cast<uint32_t>(id);
}

unsigned low32(const void* p) {
  return static_cast<unsigned>(reinterpret_cast<uintptr_t>(p));
}

void noMemory(Run& run) {
  run.out.err("Not enough memory!\nStatistics not complete!\n");
}

// Rebuilds the (thread, id) index after the list was replaced or reordered.
void reindex(StmtStats& st) {
  st.byKey.clear();
  for (uint32_t i = 0; i < st.list.size(); ++i)
    st.byKey[keyOf(st.list[i].thread, st.list[i].id)].insert(i);
}

// Gives statement `s` a new id, moving it in the index.
void rekey(StmtStats& st, StmtStat& s, int32_t newid) {
  auto pos = static_cast<uint32_t>(&s - st.list.data());
  auto old = st.byKey.find(keyOf(s.thread, s.id));
  if (old != st.byKey.end()) {
    old->second.erase(pos);
    if (old->second.empty()) st.byKey.erase(old);
  }
  s.id = newid;
  st.byKey[keyOf(s.thread, s.id)].insert(pos);
}

StmtMsgStat* entryFor(std::vector<StmtMsgStat>& msgs, int32_t type) {
  for (auto& m : msgs)
    if (m.type == type) return &m;
  return nullptr;
}

}  // namespace

std::string normaliseSql(const char* text, int32_t len) {
  // The text ends at its length or at a NUL byte, whichever comes first.
  size_t n = len > 0 ? strnlen(text, static_cast<size_t>(len)) : 0;
  std::string t(text, n);
  maskLiterals(t);
  collapseSpace(t);
  for (char& c : t) c = lower(c);
  upperKeywords(t);
  return t;
}

void new_stmt(Run& run, int32_t thread, const char* text, int32_t id, int32_t len) {
  int32_t shown = len > 0 ? static_cast<int32_t>(strnlen(text, static_cast<size_t>(len))) : 0;
  run.dbg("new_stmt: %d %d %.*s\n", thread, id, shown, text);
  StmtStats& st = run.stmts;
  try {
    StmtStat s;
    s.id = id;
    s.thread = thread;
    s.text = normaliseSql(text, len);
    st.list.push_back(std::move(s));
  } catch (const std::bad_alloc&) {
    noMemory(run);
    return;
  }
  run.dbg("new_stmt: new adress=0x%x\n", low32(&st.list.back()));
  st.byKey[keyOf(thread, id)].insert(static_cast<uint32_t>(st.list.size() - 1));
}

StmtStat* find_stmt(Run& run, int32_t thread, int32_t id) {
  StmtStats& st = run.stmts;
  auto it = st.byKey.find(keyOf(thread, id));
  if (it == st.byKey.end() || it->second.empty()) return nullptr;
  StmtStat* s = &st.list[*it->second.begin()];
  run.dbg("find_stmt: at 0x%x\n", low32(s));
  return s;
}

void set_stmt_id(Run& run, int32_t thread, int32_t newid, int32_t oldid) {
  if (newid < 0) return;
  StmtStat* s = find_stmt(run, thread, oldid);
  if (!s) return;
  run.dbg("Set ID=%d for %d\n", newid, oldid);
  rekey(run.stmts, *s, newid);
}

void close_stmt(Run& run, int32_t thread, int32_t id) {
  run.dbg("close_stmt: ID=%d THREAD=%d\n", id, thread);
  if (id < 0) return;
  StmtStat* s = find_stmt(run, thread, id);
  if (!s) return;
  rekey(run.stmts, *s, StmtStats::kClosed);
}

void stmt_stat(Run& run, int32_t thread, int32_t id, int32_t type, int32_t, int32_t count,
               double time) {
  run.dbg("stmt_stat: %s %3.5f ID=%d THREAD=%d\n", sqmsgname(type), time, id, thread);
  StmtStat* s = find_stmt(run, thread, id);
  if (!s) {
    run.dbg("... no statement entry found!!! ERROR !!!\n");
    return;
  }
  if (StmtMsgStat* m = entryFor(s->msgs, type)) {
    m->count = addCount(m->count, count);
    m->total += time;
    if (time < m->min) m->min = time;
    if (time > m->max) m->max = time;
  } else {
    try {
      s->msgs.push_back(StmtMsgStat{type, count, time, time, time, 0});
    } catch (const std::bad_alloc&) {
      noMemory(run);
      return;
    }
    run.dbg("... allocated new\n");
  }
  s->messages = addCount(s->messages, 1);
  s->total += time;
}

void group_stmts(Run& run, int32_t per_thread) {
  run.dbg("group_stmts: ithread=%d\n", per_thread);
  groupStatements(run, per_thread);
  reindex(run.stmts);
}

void groupStatements(Run& run, int32_t per_thread) {
  StmtStats& st = run.stmts;
  try {
    std::vector<StmtStat> groups;
    // Text (and thread when kept apart) -> group; texts hold no NUL byte, so
    // the thread can follow one.
    std::unordered_map<std::string, uint32_t> index;
    for (StmtStat& s : st.list) {
      std::string key = s.text;
      if (per_thread) {
        // Threads of different traces are different threads.
        key.push_back('\0');
        key.append(reinterpret_cast<const char*>(&s.thread), sizeof s.thread);
        key.append(reinterpret_cast<const char*>(&s.trace), sizeof s.trace);
      }
      auto [it, fresh] = index.try_emplace(std::move(key), static_cast<uint32_t>(groups.size()));
      if (fresh) {
        StmtStat g;
        g.text = s.text;
        g.spare = s.spare;
        g.thread = per_thread ? s.thread : 0;
        g.trace = s.trace;
        g.id = 0;
        groups.push_back(std::move(g));
      }
      StmtStat& g = groups[it->second];
      if (g.trace != s.trace) g.trace = -1;
      for (const StmtMsgStat& m : s.msgs) {
        if (StmtMsgStat* e = entryFor(g.msgs, m.type)) {
          e->count = addCount(e->count, m.count);
          e->spare += m.spare;
          e->total += m.total;
          e->min = std::min(e->min, m.min);
          e->max = std::max(e->max, m.max);
        } else {
          g.msgs.push_back(m);
        }
      }
      g.messages = addCount(g.messages, s.messages);
      g.total += s.total;
    }
    st.list.swap(groups);
  } catch (const std::bad_alloc&) {
    noMemory(run);
  }
}

void order_stmts(Run& run, int32_t by_count) {
  run.dbg("order_stmts: iorder = %d\n", by_count);
  StmtStats& st = run.stmts;
  // Descending; equal keys keep their order, as neighbour exchanges that
  // never swap equals would leave them.
  if (by_count) {
    std::stable_sort(st.list.begin(), st.list.end(),
                     [](const StmtStat& a, const StmtStat& b) { return a.messages > b.messages; });
  } else {
    std::stable_sort(st.list.begin(), st.list.end(),
                     [](const StmtStat& a, const StmtStat& b) { return a.total > b.total; });
  }
  reindex(st);
}

void print_stmt_stat(Run& run, int32_t per_thread) {
  Emit& em = run.em;
  static const std::string kEquals(77, '=');
  static const std::string kDashes(66, '-');
  em.text(">>>>>>>>>>>>>>>>>> STATEMENT STATISTICS <<<<<<<<<<<<<<<<<\n\n");
  em.text("%s\n", kEquals.c_str());
  bool firstStmt = true;
  // JSON: one object per statement.
  for (const StmtStat& s : run.stmts.list) {
    if (!firstStmt) em.text("%s\n", kDashes.c_str());
    firstStmt = false;
    em.beginRecord("statement_statistics");
    const char* text = s.text.c_str();
    int32_t len = static_cast<int32_t>(s.text.size());
    em.field("sql", s.text, "SQL: %-70.70s\n", text);
    for (int32_t at = 70; at < len; at += 75) {
      int32_t w = std::min(75, len - at);
      em.text("%-*.*s\n", w, w, text + at);
    }
    em.field("messages", s.messages, "Overall Messages: %5d    ", s.messages);
    em.field("total_time", s.total, "Total Time: %6f", s.total);
    if (per_thread) em.field("thread", s.thread, "    Thread: %d", s.thread);
    if (run.opt.inputs.size() > 1 && s.trace >= 0)
      em.field("trace", traceName(run.opt, s.trace), "    Trace: %s", traceName(run.opt, s.trace));
    em.text("\n");
    em.text("Msg          Occured     Total       Avg         Min         Max\n");
    em.open("msgs", Emit::kList);
    for (const StmtMsgStat& m : s.msgs) {
      em.open(nullptr);
      em.field("msg", sqmsgname(m.type), "%-12s ", sqmsgname(m.type));
      em.field("count", m.count, "%5d    ", m.count);
      if (sqmsgflag(m.type) & kTimed) {
        double min = m.min >= 10000000.0 ? 0.0 : m.min;
        char total[64], avg[64], low[64], max[64];
        snprintf(total, sizeof total, "%6f", m.total);
        snprintf(avg, sizeof avg, " %6f", m.total / m.count);
        snprintf(low, sizeof low, " %6f", min);
        snprintf(max, sizeof max, " %6f", m.max);
        em.field("total", m.total, "%6s    ", total);
        em.field("avg", m.total / m.count, "%6s    ", avg);
        em.field("min", min, "%6s    ", low);
        em.field("max", m.max, "%6s", max);
      }
      em.text("\n");
      em.close();
    }
    em.close();
    em.endRecord();
  }
  em.text("%s\n", kEquals.c_str());
  run.out.flush();
}

void dbg_stmt(Run& run) {
  run.dbg("Debug-Info for statement stats ...\n");
  int32_t i = 0;
  for (const StmtStat& s : run.stmts.list) {
    run.dbg("STATEMENT[%03d]: %s\n", i++, s.text.c_str());
    run.dbg("ICNT: %5d DTOTAL: %3.5f\n", s.messages, s.total);
    for (const StmtMsgStat& m : s.msgs) {
      run.dbg("  TYPE: %s\n", sqmsgname(m.type));
      run.dbg("  ICNT: %5d DTOTAL: %3.5f DMIN: %3.5f DMAX: %3.5f\n", m.count, m.total, m.min,
              m.max);
    }
  }
  run.dbg("%s\n", std::string(48, '*').c_str());
}

void statementText(Run& run, const char* text, int32_t len) {
  if (run.an) run.an->statementText(run, text, len);
  if (!run.opt.stmtstats) return;
  ThreadEntry& t = *run.thr.cur;
  // Wraps rather than overflows on absurd packet numbers.
  t.stmtid = static_cast<int32_t>(static_cast<uint32_t>(run.rd.g_ipkt) + StmtStats::kProvisional);
  new_stmt(run, t.index, text, t.stmtid, len);
}

void serverStatementId(Run& run, int32_t id, bool retire) {
  if (run.an) run.an->statementId(run, id);
  ThreadEntry& t = *run.thr.cur;
  int32_t cur = t.stmtid;
  if (run.opt.stmtstats && cur >= StmtStats::kProvisional) {
    if (retire) close_stmt(run, t.index, id);
    set_stmt_id(run, t.index, id, cur);
    // Messages of this packet recorded under the provisional id are charged
    // to the server's id.
    Timing& tm = run.timing;
    for (int32_t i = 0; i < tm.g_inopr; ++i)
      if (tm.g_prevs[i].stmtid == cur) tm.g_prevs[i].stmtid = id;
    run.dbg("new stmt ID now %d (prev. %d)\n", id, cur);
  }
  t.stmtid = id;
}

void printStatementReport(Run& run) {
  const Options& opt = run.opt;
  if (opt.g_idbg) dbg_stmt(run);
  if (opt.stmtgroup) group_stmts(run, opt.stmtthread);
  order_stmts(run, opt.ordercnt);
  print_stmt_stat(run, opt.stmtthread);
  if (opt.g_idbg && opt.stmtgroup) {
    run.dbg("After grouping of statements ...\n");
    dbg_stmt(run);
  }
}

}  // namespace wp
