// The protocol's message types: number, name, statistics flag and decoder.
#pragma once

#include <cstdint>

namespace wp {

struct Run;
class Cursor;
using Decoder = void (*)(Run&, Cursor&);

// Flag bits of a message type.
constexpr int kTimed = 1;       // gets a share of the time until the next packet
constexpr int kStmtMsg = 2;     // charged to the current statement
constexpr int kNumTypes = 140;  // types 0..139; 0 is not a message

struct MessageType {
  const char* name;  // nullptr for 0
  int flag;
  Decoder decode;  // nullptr: not a valid message type (0, 95, 96)
};

extern const MessageType kMessages[kNumTypes];

const char* sqmsgname(int32_t type);
int sqmsgflag(int32_t type);

}  // namespace wp
