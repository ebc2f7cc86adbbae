// A printf for the listing's own formats, several times faster than the C
// library's: literal text and the integer, character and string conversions
// with their flags, width and precision. It writes exactly what vsnprintf
// writes; any other conversion (floating point and the like) is left to the
// C library by returning false.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace wp {

// Formats into dst (room bytes, no terminating NUL) and stores the length in
// *len. False, with dst's contents undefined, when the format holds a
// conversion this formatter does not do or the text would not fit; `ap` has
// then been partly consumed.
bool formatFast(char* dst, size_t room, const char* fmt, va_list ap, size_t* len);

}  // namespace wp
