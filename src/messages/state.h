// Decoder state that lives across messages and packets.
#pragma once

#include <cstdint>

#include "driver/msgtable.h"

namespace wp {

struct DecoderState {
  int16_t msgtype = 0;       // type of the message being decoded
  int16_t prev_msgtype = 0;  // first message type of the current packet
  // One flag per message type. Look-alike request/reply pairs use theirs as a
  // toggle (0: the next one is a request); TUPLE and SGKTUPLE set theirs for
  // the value printer; ERR and PUTERR clear them all.
  int32_t direction[kNumTypes] = {};
  char fdir[2] = {0, 0};  // direction of a file transfer in progress
};

}  // namespace wp
