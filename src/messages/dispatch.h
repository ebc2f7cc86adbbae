// The message loop over one packet.
#pragma once

#include <cstdint>

namespace wp {

struct Run;

// Decodes the current packet, and whatever continuation packets its
// messages pull in.
void printpacket(Run& run);
// The same from byte `start` of the packet (a nested decode of a server packet
// that arrived with carried bytes in front of it).
void printpacketFrom(Run& run, int32_t start);

}  // namespace wp

namespace wp {
class Cursor;
// A message this build cannot decode: reported, and the rest of the packet is
// skipped like an invalid type.
void notDecoded(Run& run, Cursor& cur);
}  // namespace wp
