// Printers of raw packet bytes: labelled strings, character values and
// framed hex dumps. Each consumes its bytes through the cursor, following the
// data into further packets, and skips the pad byte of an odd length.
#pragma once

#include <cstdint>

namespace wp {

class Cursor;
class Output;

// A labelled text of len bytes: label, blank, the text in quotes, [len].
// force 1 prints also under -min. JSON has the text under key (by default
// the snake_case of the label).
void printstring(Cursor& cur, int32_t len, const char* label, int force, const char* key = nullptr);
// A character value of len bytes; the caller printed its label.
void printchar(Cursor& cur, int32_t len, const char* key = "data");
// A framed hex and character dump of the next n bytes (JSON: the bytes as one
// hex string under key). Returns how many of them lay in the last packet; the
// caller skips the pad byte, if any, by the same rule as the skip the dump
// stands for.
int32_t hexdump(Cursor& cur, int32_t n, const char* key = "hex_dump");
// The character column of a dump line: the count bytes at `bytes`.
void hexascii(Output& out, int count, const uint8_t* bytes);

}  // namespace wp
