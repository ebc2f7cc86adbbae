// tracec DESCRIPTION [OUTPUT]: writes the trace a text description stands for.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "tracec.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::cerr << "usage: tracec DESCRIPTION [OUTPUT]\n";
    return 2;
  }
  std::ifstream in(argv[1]);
  if (!in) {
    std::perror(argv[1]);
    return 1;
  }
  std::stringstream ss;
  ss << in.rdbuf();
  tracec::Result r = tracec::compile(ss.str());
  if (!r.ok()) {
    std::cerr << argv[1] << ": " << r.error << "\n";
    return 1;
  }
  FILE* out = argc == 3 ? std::fopen(argv[2], "wb") : stdout;
  if (!out) {
    std::perror(argv[2]);
    return 1;
  }
  std::fwrite(r.bytes.data(), 1, r.bytes.size(), out);
  return std::fclose(out) == 0 ? 0 : 1;
}
