// State of the transaction messages that lives across messages.
#pragma once

#include <cstdint>

namespace wp {

struct XaState {
  // The next MISCFLAGS carries a mode; the first of a run, and the one after
  // a mode-256 message, carries the boolean-modifier word instead.
  int32_t miscflags_has_mode = 0;
};

}  // namespace wp
