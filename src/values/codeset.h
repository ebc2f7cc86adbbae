// Conversion of trace text to the code set of the user's locale.
#pragma once

#include <cstdint>
#include <vector>

namespace wp {

struct Run;

// The two conversions between the trace's code set and the output code set,
// opened once at start-up and closed at the end of the run.
struct Codeset {
  void* rd = nullptr;       // trace code set -> output code set (docsc); null: none
  void* wr = nullptr;       // the reverse (dowrcsc); null: none
  std::vector<char> rubuf;  // the last converted text, NUL-terminated

  Codeset() = default;
  Codeset(const Codeset&) = delete;
  Codeset& operator=(const Codeset&) = delete;
  ~Codeset();
  void close();
};

// Adopts the user's locale and opens the conversions from the trace code set
// `tracecs` (WIREPRINT_CODESET; null or empty: none) to the locale's code set
// and back. None are opened when the two are the same. Returns 0, or the
// errno of the failed open (conversion then stays off).
int initCodeset(Run& run, const char* tracecs);

// Whether texts are converted: "-nocsc" is not given and the descriptor exists.
bool convertsRead(const Run& run);
bool convertsWrite(const Run& run);

// Converts len bytes (len < 1: a NUL-terminated text) into run.cs.rubuf.
// Returns the converted length, or 0 when the text is to be used as it
// stands (no conversion, nothing to convert, or bytes that are not valid in
// the trace code set).
int32_t docsc(Run& run, const char* text, int32_t len);
int32_t dowrcsc(Run& run, const char* text, int32_t len);

}  // namespace wp
