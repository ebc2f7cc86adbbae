#include "input/interrupt.h"

#include <cstring>

namespace wp {

namespace {
// A signal handler can reach nothing else.
volatile std::sig_atomic_t interrupted = 0;

void onInterrupt(int) {
  interrupted = 1;
}
}  // namespace

const volatile std::sig_atomic_t* catchInterrupt() {
  struct sigaction sa;
  memset(&sa, 0, sizeof sa);
  sa.sa_handler = onInterrupt;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = 0;  // no restart: a blocked read returns and sees the flag
  sigaction(SIGINT, &sa, nullptr);
  return &interrupted;
}

}  // namespace wp
