// tracec: compiles a readable text description of a trace into trace bytes.
//
// A description is a list of items separated by white space; "#" starts a
// comment. At the top level:
//
//   header 7                   "SQLI", the version as a 4-byte big-endian number
//   header 7 internal 316      ... then the internal-version marker and number
//   CS 1700000000.25 { ... }   a packet record: code, length, time stamp, data
//   CS len=9 1700000000 { }    the same with a length that differs from the data
//   CF 1234 / SF 1234          fork markers (process id, 4 unused bytes)
//   MT "7f3a2b10"              thread marker (8 characters, NUL-padded)
//   XY 1700000000 { ... }      any other two-letter code is written like CS
//
// Time stamps: 1700000000.25 (native little-endian double), be:1700000000.25
// (big-endian double), dec:1700000000:250000 (seconds and microseconds),
// raw:<16 hex digits>. Omitted, a record's time is the previous one plus 1.
//
// Data items (inside a record's braces, or at the top level as raw bytes):
//
//   msg SQ_PREPARE | msg 2     a message type (2 bytes)
//   short N   long N   bigint N   byte N...   big-endian integers
//   int8 N                     10-byte INT8: sign word, high and low halves
//   double X  float X          big-endian IEEE; double-le / float-le: native
//   hex 0a0b 0c ...            raw bytes
//   text "..."                 the bytes of a string (\t \n \r \0 \\ \" \xHH)
//   cstr "..."                 the string and a NUL byte
//   str "..."  lstr "..."      2- or 4-byte length, the bytes, a pad byte if odd
//   zeros N                    N zero bytes
//   pad                        one zero byte
//   align                      one zero byte when the record's data is odd so far
//   repeat N { ... }           the items N times
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tracec {

struct Result {
  std::vector<uint8_t> bytes;
  std::string error;  // "line N: ..." when the description is wrong
  bool ok() const { return error.empty(); }
};

Result compile(const std::string& text);

}  // namespace tracec
