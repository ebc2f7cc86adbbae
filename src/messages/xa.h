// XA flag words, shared by the transaction messages.
#pragma once

#include <cstdint>

namespace wp {

struct Run;
class Cursor;

// One line for every named bit of an XA flags word, in a fixed order (one
// bit has two names in the order and so prints twice); JSON has the same
// names as a list. Nothing under -min.
void print_xa_flag(Run& run, int32_t flags);
// The flags field of an XA request: the value, then its names or TMNOFLAGS.
void xaFlagsField(Run& run, Cursor& cur);

}  // namespace wp
