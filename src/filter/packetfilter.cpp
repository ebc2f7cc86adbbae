#include "filter/packetfilter.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "driver/reader.h"
#include "driver/run.h"

namespace wp {

namespace {

// Enough to see past a few thread records to the packet they introduce.
constexpr size_t kLookAhead = 256;

bool threadWanted(const FilterSettings& f, int32_t index, const std::string& address) {
  if (!f.byThread()) return true;
  if (std::find(f.indexes.begin(), f.indexes.end(), index) != f.indexes.end()) return true;
  for (const std::string& a : f.addresses)
    if (!address.empty() && strcasecmp(a.c_str(), address.c_str()) == 0) return true;
  return false;
}

bool timeWanted(const FilterSettings& f, double t) {
  if (!f.hasFrom && !f.hasTo) return true;
  if (!(t >= 1.0)) return false;  // no usable time stamp
  return (!f.hasFrom || t >= f.from) && (!f.hasTo || t <= f.to);
}

// Whether the records that the next getpacket() reads are wanted: thread
// records, then a packet (its time stamp follows the code and the length) or
// a fork marker, which repeats the packet before it.
bool decide(Run& run) {
  FilterState& st = run.filt;
  const FilterSettings& f = run.opt.filter;
  // Looks no further than the records need: following a growing file, a
  // look-ahead waits for its bytes.
  const uint8_t* p = nullptr;
  auto have = [&](size_t k) { return k <= kLookAhead && run.rd.file.peek(&p, k) >= k; };
  int32_t index = run.thr.cur->index;
  const std::string* address = &st.address[index];
  st.hasNamed = false;
  size_t at = 0;
  while (have(at + 2)) {
    char a = static_cast<char>(p[at]), b = static_cast<char>(p[at + 1]);
    if (a == 'M' && b == 'T') {
      if (!have(at + 10)) break;
      char text[9] = {};
      memcpy(text, p + at + 2, 8);
      index = run.thr.wouldSelect(strtol(text, nullptr, 0));
      st.named = text;
      st.hasNamed = true;
      address = &st.named;
      at += 10;
      continue;
    }
    if (b == 'F' && (a == 'C' || a == 'S')) return st.in;
    if (!have(at + 14)) break;
    double t = decodeTime(p + at + 6, run.opt.timestampformat);
    return timeWanted(f, t) && threadWanted(f, index, *address);
  }
  return st.in;
}

}  // namespace

int filteredGetpacket(Run& run) {
  FilterState& st = run.filt;
  st.in = decide(run);
  run.out.setMuted(!st.in);
  st.sum = run.sum;
  st.commands = run.cmds.count;
  st.clientTime = run.timing.client_time_fl;
  st.serverTime = run.timing.server_time_fl;
  int r = getpacket(run, nullptr, 0);
  if (st.hasNamed) st.address[run.thr.cur->index] = st.named;
  st.counting = st.in;
  if (r == 0 && st.in) {
    if (!st.anyIn) st.firstIn = run.rd.time_fl;
    st.lastIn = run.rd.time_fl;
    st.anyIn = true;
  }
  return r;
}

void filteredPacketDone(Run& run) {
  FilterState& st = run.filt;
  if (st.in) return;
  run.sum = st.sum;
  run.cmds.count = st.commands;
  run.timing.client_time_fl = st.clientTime;
  run.timing.server_time_fl = st.serverTime;
}

void filteredEnd(Run& run) {
  FilterState& st = run.filt;
  run.out.setMuted(false);
  filteredPacketDone(run);
  run.rd.very_first_time_fl = st.anyIn ? st.firstIn : 0;
  run.rd.time_fl = st.anyIn ? st.lastIn : 0;
  auto& list = run.stmts.list;
  list.erase(
      std::remove_if(list.begin(), list.end(), [](const StmtStat& s) { return s.messages == 0; }),
      list.end());
}

}  // namespace wp
