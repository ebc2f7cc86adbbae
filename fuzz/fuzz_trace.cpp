// libFuzzer target over the whole run: the first two bytes choose options
// (the top bit of the second one a multibyte trace code set, and with -nocsc,
// which leaves that code set unused, the debug lines too), the rest is the
// trace. Exit paths report their status instead of exiting. The locale is
// UTF-8, so that -isprint and the conversions meet multibyte text.
//
// Built a second time as fuzz_compressed (WIREPRINT_FUZZ_COMPRESSED), the trace
// is a gzip or zstd stream, decompressed on the way in; other inputs are
// passed over. Its heap is the decompressor's business (a zstd frame may ask
// for a window of many megabytes), so only the listing is held to its bound.
//
// Beside the sanitizers' findings, a run is a finding when its heap grows
// beyond a fixed multiple of the trace's size, or its listing beyond a fixed
// multiple of the bytes handed to the decoders: both mean a count from the
// trace drove work that no input bytes paid for.
#include <sanitizer/allocator_interface.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "driver/run.h"
#include "input/compression.h"

namespace {

// Generous: the statement statistics keep a record of a few hundred bytes
// for a statement message of four, and the listing prints a name line of up
// to twenty characters for a two-byte message type.
constexpr size_t kHeapPerByte = 128;
constexpr size_t kHeapBase = size_t{4} << 20;
constexpr int64_t kListingPerByte = 64;
constexpr int64_t kListingBase = int64_t{1} << 20;

FILE* sink() {
  static FILE* f = fopen("/dev/null", "w");
  return f;
}

// Live heap bytes while a run is being measured, and their high mark.
struct HeapWatch {
  bool on = false;
  size_t live = 0, peak = 0;
} heap;

void onMalloc(const volatile void*, size_t n) {
  if (!heap.on) return;
  heap.live += n;
  if (heap.live > heap.peak) heap.peak = heap.live;
}

void onFree(const volatile void* p) {
  if (!heap.on || !p) return;
  size_t n = __sanitizer_get_allocated_size(const_cast<const void*>(p));
  heap.live = n < heap.live ? heap.live - n : 0;
}

std::vector<std::string> optionsFrom(uint8_t a, uint8_t b) {
  static const char* const kFirst[] = {"-min",     "-tuple",   "-blob",      "-udt",
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

// The environment of the current input: the trace code set and the debug
// switch, or nothing.
const char* traceCodeset = nullptr;
const char* debugLevel = nullptr;

const char* lookup(const char* name) {
  if (strcmp(name, "WIREPRINT_CODESET") == 0) return traceCodeset;
  if (strcmp(name, "WIREPRINTDBG") == 0) return debugLevel;
  return nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree);
  setenv("LC_ALL", "C.UTF-8", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  wp::Compression kind = wp::sniffCompression(data + 2, size - 2);
#ifdef WIREPRINT_FUZZ_COMPRESSED
  if (kind != wp::Compression::Gzip && kind != wp::Compression::Zstd) return 0;
#else
  // The compressed path has a target of its own.
  if (kind != wp::Compression::None) return 0;
#endif
  std::vector<std::string> args = optionsFrom(data[0], data[1]);
  traceCodeset = data[1] & 0x80 ? "SHIFT_JIS" : nullptr;
  debugLevel = (data[1] & 0xc0) == 0xc0 ? "1" : nullptr;
  std::vector<char*> argv;
  for (auto& s : args) argv.push_back(s.data());
  heap = HeapWatch{true, 0, 0};
  auto run = std::make_unique<wp::Run>();
  run->out.setStreams(sink(), sink());
  run->rd.file.openMemory(data + 2, size - 2);
  wp::runMain(*run, static_cast<int>(argv.size()), argv.data(), lookup);
  heap.on = false;
  int64_t listed = static_cast<int64_t>(run->out.bytesWritten());
  int64_t served = run->rd.served + static_cast<int64_t>(size);
  if (getenv("WIREPRINT_FUZZ_SIZES"))
    fprintf(stderr, "input %zu served %lld heap peak %zu listing %lld\n", size,
            static_cast<long long>(served), heap.peak, static_cast<long long>(listed));
  if (kind == wp::Compression::None && heap.peak > kHeapBase + kHeapPerByte * size) {
    fprintf(stderr, "heap peak of %zu bytes for %zu input bytes\n", heap.peak, size);
    abort();
  }
  if (listed > kListingBase + kListingPerByte * served) {
    fprintf(stderr, "listing of %lld bytes for %lld bytes decoded\n",
            static_cast<long long>(listed), static_cast<long long>(served));
    abort();
  }
  return 0;
}
