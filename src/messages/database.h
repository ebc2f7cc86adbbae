// Database and version messages: the state they keep and the version ladder
// that turns a server's version text into capability bits when no internal
// version was announced.
#pragma once

#include <cstdint>

namespace wp {

// Normalises a version text in place to the part the ladder compares: leading
// characters that are not digits are dropped, then the run of digits and dots
// is kept and everything after it cut off ("V9.40.UC1" -> "9.40.").
void _sq_filter(char* v);

// Byte-wise comparison as unsigned bytes, like strcmp: negative, 0 or
// positive as a sorts before, with or after b. Versions from 10 on sort
// below the ladder's "6.00" and so match no row.
int stcmpr(const char* a, const char* b);

// The mask of the first ladder row a filtered version satisfies, 0 when none.
uint64_t versionMask(const char* v);

// The database state that is not a capability: the first DBLIST and the
// first VERSION of the run are the client's requests.
struct DatabaseState {
  bool dblistSeen = false;
  bool versionSeen = false;
};

}  // namespace wp
