#include "values/codeset.h"

#include <clocale>

#include "driver/run.h"

namespace wp {

int initCodeset(Run&) {
  setlocale(LC_ALL, "");
  return 0;
}

bool convertsRead(const Run& run) {
  return run.opt.needcsc && run.cs.rd;
}
bool convertsWrite(const Run& run) {
  return run.opt.needcsc && run.cs.wr;
}

// Not built yet: no descriptor is ever opened, so nothing is converted.
int32_t docsc(Run&, const char*, int32_t) {
  return 0;
}
int32_t dowrcsc(Run&, const char*, int32_t) {
  return 0;
}

}  // namespace wp
