// Client threads of the traced program ("MT" records) and their connections.
#pragma once

#include <cstdint>

namespace wp {

struct ThreadEntry {
  int32_t inuse = 0;    // non-zero when the entry is taken
  int32_t index = 0;    // the entry's own position, 0..63
  int64_t key = 0;      // number parsed from the "MT" record
  int32_t stmtid = 0;   // current statement id; -1 for a fresh entry
  int32_t active = 0;   // current connection of its thread
  char name[256] = {};  // connection name
};

struct Threads {
  static constexpr int kSize = 64;
  ThreadEntry tab[kSize];
  ThreadEntry* cur = &tab[0];    // g_pthr
  ThreadEntry* plast = nullptr;  // current entry before the last CONNECT/SETCONN

  void reset();
  // An "MT" record names a thread: make its entry current.
  void select(int64_t key);
  // The index of the entry that select(key) would make current, without
  // changing anything.
  int wouldSelect(int64_t key) const { return pick(key); }

 private:
  // The entry for a key, and whether it would be taken afresh.
  int pick(int64_t key, bool* fresh = nullptr) const;
};

}  // namespace wp
