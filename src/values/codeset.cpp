#include "values/codeset.h"

#include <clocale>

#include "driver/run.h"

namespace wp {

int initCodeset(Run&) {
  setlocale(LC_ALL, "");
  return 0;
}

}  // namespace wp
