// Raw text fields of the session and database messages, read without the
// labelled-string printer because their lines have their own layouts.
#pragma once

#include <cstdint>
#include <string>

namespace wp {

class Cursor;

// Up to n bytes from the cursor's position that are really in the packet
// buffer; consumes nothing.
std::string bytesHere(const Cursor& cur, int32_t n);

// Reads n bytes into dst, following the text into further packets with
// nothing carried. Returns how many of them lay in the last packet: the pad
// byte after the text goes by that part's parity.
int32_t gatherText(Cursor& cur, int32_t n, std::string& dst);

// The pad byte after a text whose last part had `lastPart` bytes: the next
// byte of the trace, whichever packet holds it.
void skipPadAfter(Cursor& cur, int32_t lastPart);

}  // namespace wp
