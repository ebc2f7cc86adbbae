// Pairs requests with replies per client thread and keeps what the report
// and the store show of them.
#include "analysis/collector.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "driver/run.h"
#include "stats/stmtstats.h"

namespace wp::analysis {

namespace {

// Rows of a result set come as TUPLE (or SGKTUPLE) messages in the reply.
bool isRow(int16_t type) {
  return type == 14 || type == 136;
}

uint64_t idKey(uint32_t thread, int32_t id) {
  return uint64_t{thread} << 32 | static_cast<uint32_t>(id);
}

}  // namespace

int Collector::coarseBin(double latency) {
  if (!(latency >= 1e-6)) return 0;
  // The epsilon keeps exact powers of ten in their own bin.
  double b = std::floor(4 * std::log10(latency / 1e-6) + 1e-9) + 1;
  return b >= kCoarseBins - 1 ? kCoarseBins - 1 : static_cast<int>(b);
}

ThreadStats& Collector::threadOf(int64_t key) {
  // Runs of packets mostly stay on one thread.
  if (cur_ && cur_->key == key) return *cur_;
  auto [it, fresh] = threadIndex_.try_emplace(key, static_cast<uint32_t>(threads.size()));
  if (fresh) {
    // The vector may move: the current thread is found again by position.
    size_t cur = cur_ ? static_cast<size_t>(cur_ - threads.data()) : SIZE_MAX;
    threads.emplace_back();
    threads.back().key = key;
    if (cur != SIZE_MAX) cur_ = &threads[cur];
  }
  return threads[it->second];
}

uint32_t Collector::groupOf(std::string text) {
  auto [it, fresh] = groupIndex_.try_emplace(std::move(text), static_cast<uint32_t>(groups.size()));
  if (fresh) {
    groups.emplace_back();
    groups.back().text = it->first;
  }
  return it->second;
}

void Collector::packet(Run& run, bool client, int32_t length) {
  afterFork_ = false;
  in_ = run.filt.in;
  ++packetNo_;
  int32_t len = std::max(length, 0);
  double time = run.rd.time_fl;
  ThreadStats& t = threadOf(run.thr.cur->key);
  cur_ = &t;
  if (in_) {
    int dir = client ? 0 : 1;
    ++packets[dir];
    bytes[dir] += len;
    if (time > 0) {
      if (firstTime == 0 || time < firstTime) firstTime = time;
      lastTime = std::max(lastTime, time);
    }
    ++t.packets;
  }
  if (client) {
    if (t.open) close(t);
    t.open = true;
    t.tripCounted = in_;
    t.trip = RoundTripRow{in_ ? ++trips : 0, packetNo_, t.key, 0, time, -1, 0, len, 0, false, 0, 0};
  } else if (t.open) {
    RoundTripRow& r = t.trip;
    if (r.replyPackets++ == 0) {
      r.latency = std::max(time - r.start, 0.0);
      // The request's own messages have named its statement by now.
      r.statement = statementNo(t);
    }
    r.bytes += len;
  }
  if (sink_ && in_) {
    sink_->packet(PacketRow{packetNo_, run.rd.g_ipkt, client, len, time, t.key,
                            t.open && t.tripCounted ? t.trip.number : 0});
  }
}

void Collector::threadMarker(Run& run, const char* text) {
  ThreadStats& t = threadOf(run.thr.cur->key);
  if (t.address.empty()) t.address = std::string("0x") + text;
}

void Collector::fork() {
  if (in_) ++forks;
  // The reader hands the last packet to the decoders once more: its messages
  // were counted already.
  afterFork_ = true;
}

void Collector::message(int16_t type, int32_t offset, bool object) {
  bool seen = !afterFork_ && cur_;
  if (seen) {
    if (in_) ++messages;
    if (isRow(type) && cur_->open && cur_->trip.replyPackets > 0) ++cur_->trip.rows;
  }
  // A row for each message of a listed packet.
  if (!sink_) return;
  if (!seen || !in_) {
    if (object) openRows_.push_back(-1);
    return;
  }
  MessageRow r{packetNo_, std::max(offset, 0), type, {}};
  if (!object && waiting_.empty()) {
    sink_->message(r);
    ++passed_;
    return;
  }
  if (object) openRows_.push_back(passed_ + static_cast<int64_t>(waiting_.size()));
  waiting_.push_back(Waiting{r, !object, false, {}});
}

void Collector::messageFields(std::string_view json) {
  if (openRows_.empty()) return;
  int64_t n = openRows_.back();
  openRows_.pop_back();
  if (n < passed_ || !sink_) return;
  auto i = static_cast<size_t>(n - passed_);
  if (i >= waiting_.size()) return;
  if (waiting_.size() == 1) {
    // Nothing nested: the text goes on as it is, uncopied.
    waiting_[0].row.fields = json;
    sink_->message(waiting_[0].row);
    ++passed_;
    waiting_.clear();
    return;
  }
  waiting_[i].fields.assign(json);
  waiting_[i].done = waiting_[i].filled = true;
  passWaiting();
}

// Passes on the rows from the first on that have their fields.
void Collector::passWaiting() {
  size_t k = 0;
  for (; k < waiting_.size() && waiting_[k].done; ++k) {
    Waiting& w = waiting_[k];
    if (w.filled) w.row.fields = w.fields;
    sink_->message(w.row);
    ++passed_;
  }
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(k));
}

void Collector::sqlError(int16_t sqlerr, int16_t isam) {
  if (afterFork_ || !cur_) return;
  ThreadStats& t = *cur_;
  int64_t stmt = statementNo(t);
  int64_t trip = 0;
  if (t.open) {
    RoundTripRow& r = t.trip;
    if (r.replyPackets > 0) stmt = r.statement;
    if (t.tripCounted) trip = r.number;
    if (!r.error) {
      r.error = true;
      r.sqlError = sqlerr;
      r.isamError = isam;
    }
  }
  if (!in_) return;
  ++errors;
  ++t.errors;
  if (stmt) statements[static_cast<size_t>(stmt - 1)].counted = true;
  ErrorGroup& g = errorGroups[{sqlerr, isam}];
  if (g.count++ == 0) {
    g.firstPacket = packetNo_;
    g.firstGroup = stmt ? statements[static_cast<size_t>(stmt - 1)].group : UINT32_MAX;
  }
  if (sink_) sink_->error(ErrorRow{trip, packetNo_, stmt, sqlerr, isam});
}

void Collector::statementText(Run& run, const char* text, int32_t len) {
  if (afterFork_ || !cur_) return;
  ThreadStats& t = *cur_;
  auto thread = static_cast<uint32_t>(&t - threads.data());
  StatementInst s;
  s.thread = run.thr.cur->index;
  s.threadKey = t.key;
  // As the statement statistics do: the record number names it until the
  // server gives it an id.
  s.id = static_cast<int32_t>(static_cast<uint32_t>(run.rd.g_ipkt) + 1000000u);
  s.provisional = true;
  s.counted = in_;
  s.group = groupOf(normaliseSql(text, len));
  if (keepTexts_) s.raw.assign(text, len > 0 ? strnlen(text, static_cast<size_t>(len)) : 0);
  t.current = static_cast<uint32_t>(statements.size());
  statements.push_back(std::move(s));
  byId_[idKey(thread, statements.back().id)] = t.current;
  if (in_) ++t.statements;
}

void Collector::statementId(Run& run, int32_t id) {
  if (afterFork_ || !cur_) return;
  ThreadStats& t = *cur_;
  auto thread = static_cast<uint32_t>(&t - threads.data());
  if (t.current != UINT32_MAX && statements[t.current].provisional) {
    statements[t.current].provisional = false;
    statements[t.current].id = id;
    byId_[idKey(thread, id)] = t.current;
    return;
  }
  auto it = byId_.find(idKey(thread, id));
  if (it != byId_.end()) {
    t.current = it->second;
    return;
  }
  // A statement prepared before the trace began: its text is unknown.
  StatementInst s;
  s.thread = run.thr.cur->index;
  s.threadKey = t.key;
  s.id = id;
  s.counted = in_;
  s.group = groupOf(std::string());
  t.current = static_cast<uint32_t>(statements.size());
  statements.push_back(std::move(s));
  byId_[idKey(thread, id)] = t.current;
}

void Collector::damaged(bool nextPacket) {
  int64_t at = packetNo_ + (nextPacket ? 1 : 0);
  if (at == lastDamaged_) return;
  lastDamaged_ = at;
  ++damagedPackets;
}

void Collector::close(ThreadStats& t) {
  RoundTripRow& r = t.trip;
  t.open = false;
  if (r.replyPackets == 0) r.statement = statementNo(t);
  if (!t.tripCounted) return;
  ++t.trips;
  StatementGroup* g = nullptr;
  if (r.statement) {
    StatementInst& s = statements[static_cast<size_t>(r.statement - 1)];
    s.counted = true;
    g = &groups[s.group];
  }
  if (g) {
    ++g->trips;
    g->rows += static_cast<uint64_t>(r.rows);
    if (r.error) ++g->errors;
  }
  if (r.latency >= 0) {
    ++replied;
    t.busy += r.latency;
    all.add(r.latency);
    ++coarse[static_cast<size_t>(coarseBin(r.latency))];
    if (g) {
      ++g->replied;
      g->total += r.latency;
      g->max = std::max(g->max, r.latency);
      if (keepLatencies_) g->latencies.push_back(static_cast<float>(r.latency));
    }
  }
  timeline.add(r.start, r.latency);
  if (sink_) sink_->roundTrip(r);
}

void Collector::finish(Run& run) {
  for (ThreadStats& t : threads)
    if (t.open) close(t);
  // Messages whose fields never came (no JSON renderer took them) keep none.
  if (sink_) {
    for (Waiting& w : waiting_) w.done = true;
    passWaiting();
  }
  openRows_.clear();
  clientTime = run.timing.client_time_fl;
  serverTime = run.timing.server_time_fl;
  // Threads that no listed packet came from are not shown.
  if (run.opt.filter.active()) {
    cur_ = nullptr;
    threadIndex_.clear();
    threads.erase(std::remove_if(threads.begin(), threads.end(),
                                 [](const ThreadStats& t) { return t.packets == 0; }),
                  threads.end());
  }
  statementsSent = 0;
  for (const StatementInst& s : statements) {
    if (!s.counted) continue;
    ++statementsSent;
    groups[s.group].counted = true;
  }
  distinctStatements = 0;
  for (const StatementGroup& g : groups) distinctStatements += g.counted ? 1 : 0;
}

void Collector::absorb(Collector& o, int32_t trace) {
  traces.push_back(TraceSummary{o.file, o.failure, o.packets[0] + o.packets[1], o.trips, o.errors,
                                o.damagedPackets, o.firstTime, o.lastTime});
  for (int d = 0; d < 2; ++d) {
    packets[d] += o.packets[d];
    bytes[d] += o.bytes[d];
  }
  messages += o.messages;
  forks += o.forks;
  damagedPackets += o.damagedPackets;
  trips += o.trips;
  replied += o.replied;
  errors += o.errors;
  statementsSent += o.statementsSent;
  if (o.firstTime > 0 && (firstTime == 0 || o.firstTime < firstTime)) firstTime = o.firstTime;
  lastTime = std::max(lastTime, o.lastTime);
  clientTime += o.clientTime;
  serverTime += o.serverTime;

  std::vector<uint32_t> to(o.groups.size());
  for (size_t i = 0; i < o.groups.size(); ++i) {
    StatementGroup& from = o.groups[i];
    to[i] = groupOf(from.text);
    StatementGroup& g = groups[to[i]];
    g.trips += from.trips;
    g.rows += from.rows;
    g.errors += from.errors;
    g.replied += from.replied;
    g.total += from.total;
    g.max = std::max(g.max, from.max);
    g.latencies.insert(g.latencies.end(), from.latencies.begin(), from.latencies.end());
    std::vector<float>().swap(from.latencies);
    g.counted = g.counted || from.counted;
  }
  distinctStatements = 0;
  for (const StatementGroup& g : groups) distinctStatements += g.counted ? 1 : 0;

  for (ThreadStats& t : o.threads) {
    threads.push_back(std::move(t));
    threads.back().trace = trace;
  }
  for (const auto& [key, from] : o.errorGroups) {
    auto [it, fresh] = errorGroups.try_emplace(key, from);
    ErrorGroup& g = it->second;
    if (fresh) {
      g.firstTrace = trace;
      g.firstGroup = from.firstGroup < to.size() ? to[from.firstGroup] : UINT32_MAX;
    } else {
      g.count += from.count;
    }
  }
  all.merge(o.all);
  for (size_t b = 0; b < coarse.size(); ++b) coarse[b] += o.coarse[b];
  timeline.merge(o.timeline);
}

}  // namespace wp::analysis
