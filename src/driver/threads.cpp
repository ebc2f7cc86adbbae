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

int Threads::pick(int64_t key, bool* fresh) const {
  if (fresh) *fresh = false;
  if (cur->key == 0) return static_cast<int>(cur - tab);
  for (int i = 0; i < kSize; ++i)
    if (tab[i].inuse && tab[i].key == key && tab[i].active) return i;
  for (int i = 0; i < kSize; ++i)
    if (tab[i].inuse && tab[i].key == key) return i;
  // A new thread takes entry 0 when free, else the first free one; with all
  // 64 taken, the last entry is reused for it.
  if (fresh) *fresh = true;
  for (int i = 0; i < kSize; ++i)
    if (!tab[i].inuse) return i;
  return kSize - 1;
}

void Threads::select(int64_t key) {
  if (cur->key == 0) {
    cur->key = key;
    return;
  }
  bool fresh;
  ThreadEntry* e = &tab[pick(key, &fresh)];
  if (fresh) {
    *e = ThreadEntry{};
    e->inuse = 1;
    e->index = static_cast<int32_t>(e - tab);
    e->key = key;
    e->stmtid = -1;
  }
  cur = e;
}

}  // namespace wp
