// libFuzzer target over the whole run: the first two bytes choose options,
// the rest is the trace. Exit paths report their status instead of exiting.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "driver/run.h"

namespace {

FILE* sink() {
  static FILE* f = fopen("/dev/null", "w");
  return f;
}

std::vector<std::string> optionsFrom(uint8_t a, uint8_t b) {
  static const char* const kFirst[] = {"-min",    "-tuple",   "-blob",      "-udt",
                                       "-isprint", "-summary", "-stmt_stat", "-cmd_time"};
  static const char* const kSecond[] = {"-order_cnt", "-per_thread", "-nogroup", "-notimestamp",
                                        "-nocsc"};
  static const char* const kPlatform[] = {nullptr, "IEEEI", "IEEEM", "DECALPHA"};
  std::vector<std::string> args{"wireprint"};
  for (int i = 0; i < 8; ++i)
    if (a >> i & 1) args.push_back(kFirst[i]);
  for (int i = 0; i < 5; ++i)
    if (b >> (i + 2) & 1) args.push_back(kSecond[i]);
  if (kPlatform[b & 3]) {
    args.push_back("-platform");
    args.push_back(kPlatform[b & 3]);
  }
  args.push_back("trace");
  return args;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  std::vector<std::string> args = optionsFrom(data[0], data[1]);
  std::vector<char*> argv;
  for (auto& s : args) argv.push_back(s.data());
  auto run = std::make_unique<wp::Run>();
  run->out.setStreams(sink(), sink());
  run->rd.file.openMemory(data + 2, size - 2);
  wp::runMain(*run, static_cast<int>(argv.size()), argv.data(),
              [](const char*) -> const char* { return nullptr; });
  return 0;
}
