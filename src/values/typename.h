// SQL type words: the low byte is the base type code (0..53), the high byte
// holds qualifier flags.
#pragma once

#include <cstdint>

namespace wp {

struct Run;

constexpr int kTypeDistinct = 0x0800;
constexpr int kTypeClientCollection = 0x8000;

// Name of a base type code; empty for 25..39, nullptr above 53.
const char* sqltypename(int code);

// "<prefix><name>; <flags>" for a type word. Returns 0, or -1 for a code
// above 53 (after an error line). Prints nothing under -min. JSON has the
// name under key and the flags as an array under key + "_flags".
int printtypename(Run& run, int type, const char* prefix, const char* key = "type");

}  // namespace wp
