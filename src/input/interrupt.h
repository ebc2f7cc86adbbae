// Ctrl-C while following a growing trace ends the reading, not the program:
// the summary and statistics asked for are still printed.
#pragma once

#include <csignal>

namespace wp {

// Installs the handler (once) and returns the flag it sets.
const volatile std::sig_atomic_t* catchInterrupt();

}  // namespace wp
