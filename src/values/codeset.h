// Conversion of trace text to the code set of the user's locale.
#pragma once

#include <cstdint>
#include <vector>

namespace wp {

struct Run;

struct Codeset {
  void* rd = nullptr;       // trace code set -> output code set (docsc); null: none
  void* wr = nullptr;       // the reverse (dowrcsc); null: none
  std::vector<char> rubuf;  // the last converted text
};

// Adopts the user's locale and opens the conversions. Returns 0, or the error
// number of a failed initialisation (conversion then stays off).
int initCodeset(Run& run);

// Whether texts are converted: "-nocsc" is not given and the descriptor exists.
bool convertsRead(const Run& run);
bool convertsWrite(const Run& run);

// Converts len bytes (len < 1: a NUL-terminated text) into run.cs.rubuf.
// Returns the converted length, or 0 or less when the text is to be used as
// it stands.
int32_t docsc(Run& run, const char* text, int32_t len);
int32_t dowrcsc(Run& run, const char* text, int32_t len);

}  // namespace wp
