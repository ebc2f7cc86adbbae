// Typed data values as they travel in tuples, bound parameters and routine
// arguments, and the extended type descriptions that go with them.
#pragma once

#include <cstdint>

namespace wp {

class Cursor;

// Prints count values and consumes exactly their bytes.
void printvalues(Cursor& cur, int32_t count);
// A block of extended type descriptions (only when the server announced them).
void printextdtypeinfo(Cursor& cur, int flag);
// The id, owner and name after a type word that is not a supported built-in.
void printnonbuiltininfo(Cursor& cur, int type, const char* prefix);
// Whether the server takes a built-in type code (the client library's test).
int istypesupportedinxsrv(const uint8_t* capabilities, int type, int flag);

}  // namespace wp
