#include "stats/timing.h"

#include <cstring>

#include "driver/run.h"

namespace wp {

void MsgStats::reset() {
  for (int i = 0; i < kSlots; ++i) {
    count[i] = 0;
    total[i] = 0;
    min[i] = 10000000.0;
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
  memcpy(e.text, text, static_cast<size_t>(keep));
  e.text[keep] = '\0';
}

void store_prev(Run&, int32_t, int32_t, int32_t) {}
void chargePrevious(Run&, double) {}
void directionTime(Run&, bool, bool) {}
void printSummary(Run&) {}

}  // namespace wp
