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
  // the value printer; ERR and PUTERR clear them all. Use the accessors below.
  int32_t direction[kNumTypes] = {};
  char fdir[2] = {0, 0};  // direction of a file transfer in progress

  // Whether the next message of `type` is the reply (its flag is set).
  // Types outside 0..139 have no flag and read as requests.
  bool isReply(int type) const { return inRange(type) && direction[type] != 0; }
  void setReply(int type, bool reply) {
    if (inRange(type)) direction[type] = reply ? 1 : 0;
  }
  // Request/reply pairs: returns whether this message is the reply and flips
  // the toggle so the next one of the type is the other half.
  bool toggle(int type) {
    bool reply = isReply(type);
    setReply(type, !reply);
    return reply;
  }
  // ERR and PUTERR: every type's next message is a request again.
  void clearDirections() {
    for (auto& d : direction) d = 0;
  }

 private:
  static bool inRange(int type) { return type >= 0 && type < kNumTypes; }
};

}  // namespace wp
