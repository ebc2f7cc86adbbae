// Conversion of trace text to the code set of the user's locale.
#pragma once

#include <cstdint>

namespace wp {

struct Run;

struct Codeset {};

// Adopts the user's locale and opens the conversions. Returns 0, or the error
// number of a failed initialisation (conversion then stays off).
int initCodeset(Run& run);

}  // namespace wp
