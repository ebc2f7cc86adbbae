#include "driver/threads.h"

namespace wp {

void Threads::reset() {
  for (auto& t : tab) t = ThreadEntry{};
  tab[0].inuse = 1;
  tab[0].index = 0;
  tab[0].stmtid = 0;
  cur = &tab[0];
  plast = nullptr;
}

void Threads::select(int64_t key) {
  if (cur->key == 0) {
    cur->key = key;
    return;
  }
  for (auto& t : tab) {
    if (t.inuse && t.key == key && t.active) {
      cur = &t;
      return;
    }
  }
  for (auto& t : tab) {
    if (t.inuse && t.key == key) {
      cur = &t;
      return;
    }
  }
  // A new thread takes entry 0 when free, else the first free one; with all
  // 64 taken, the last entry is reused for it.
  ThreadEntry* e = &tab[kSize - 1];
  for (auto& t : tab) {
    if (!t.inuse) {
      e = &t;
      break;
    }
  }
  *e = ThreadEntry{};
  e->inuse = 1;
  e->index = static_cast<int32_t>(e - tab);
  e->key = key;
  e->stmtid = -1;
  cur = e;
}

}  // namespace wp
