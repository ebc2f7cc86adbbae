// Text forms of DECIMAL, INT8 and DATE values.
#pragma once

#include <cstdint>

#include "values/wire.h"

namespace wp {

// Errors of the text conversions; the caller's buffer is then left as it was.
constexpr int kTextNull = -1208;      // the value is NULL
constexpr int kTextRange = -1284;     // the value is out of the form's range
constexpr int kTextTooLong = -1207;   // the text does not fit
constexpr int kTextBadValue = -1216;  // the value's bytes are not a valid encoding

// The decimal as text in buf: exactly len characters, blank-padded on the
// right, no NUL. right -1 keeps as many decimals as the value carries (each
// base-100 digit is two decimals), right >= 0 rounds to that many. A NULL is
// all blanks. A fixed form longer than len becomes d.ddde+XX.
int dectoasc(const Decimal* rec, char* buf, int len, int right);
// The INT8 as a number in base 10 or 16 (lowercase, "-" for negatives, no
// prefix). A NULL (sign 0) or a magnitude beyond 2^63-1 fails and leaves buf
// as it was. Returns 0 or a negative error.
int int8tostr(const Int8* rec, char* buf, int size, int base);
inline int ovb_int8tostr(const Int8* rec, char* buf, int size) {
  return int8tostr(rec, buf, size, 10);
}
// The date of a day number (day 0 is 1899-12-31, proleptic Gregorian) as
// mm/dd/yyyy, or in the strftime format fmt when it is set and not empty.
// Years outside 1..9999, or a text that does not fit size bytes with its NUL,
// fail and leave buf as it was.
int rdatestr(int32_t days, char* buf, int size, const char* fmt);
// The same into a buffer of kDateTextSize bytes, in the format named by the
// environment variable WIREPRINT_DATEFMT.
constexpr int kDateTextSize = 80;
int rdatestr(int32_t days, char* buf);

}  // namespace wp
