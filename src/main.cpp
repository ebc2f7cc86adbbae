#include <cstdlib>

#include "driver/run.h"

int main(int argc, char** argv) {
  wp::Output::guardStandardStreams();
  static wp::Run run;
  return wp::runMain(run, argc, argv, [](const char* name) -> const char* { return getenv(name); });
}
