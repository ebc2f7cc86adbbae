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

// "%.5f" of a time stamp's fraction x, 0 <= x < 1, into out[0..6] (so "0.25000",
// or "1.00000" when it rounds up), rounded as printf rounds the exact binary
// value: to nearest, ties to even. False for any other x.
bool formatFraction5(double x, char out[7]);

}  // namespace wp
