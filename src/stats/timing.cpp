#include "stats/timing.h"

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

void store_prev(Run&, int32_t, int32_t, int32_t) {}
void chargePrevious(Run&, double) {}
void directionTime(Run&, bool, bool) {}
void printSummary(Run&) {}

}  // namespace wp
