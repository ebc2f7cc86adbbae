// The whole program over trace bytes held in memory, with standard output and
// error muted, measured: exit status, time taken, size of the listing, and
// the heap's high mark.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "driver/run.h"
#include "heapprobe.h"
#include "tracec.h"

namespace wp::test {

// What any run holds on the heap: its state, the 64 KB listing buffer and
// the packet buffer's first 8 KB.
constexpr size_t kRunHeap = 128 * 1024;

struct Outcome {
  int status = -1;
  double seconds = 0;
  int64_t listing = 0;  // bytes of the listing
  int64_t served = 0;   // bytes handed to the decoders
  size_t heap = 0;      // most heap bytes live at once, the run's state included
  std::string text;     // the listing, when asked for
};

inline Outcome runWhole(const std::vector<uint8_t>& bytes, std::vector<std::string> args,
                        bool keepListing = false) {
  static FILE* null = fopen("/dev/null", "w");
  args.insert(args.begin(), "wireprint");
  args.push_back("trace");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  FILE* listing = keepListing ? tmpfile() : null;
  heapProbeStart();
  auto run = std::make_unique<Run>();
  run->out.setStreams(null, listing);
  run->rd.file.openMemory(bytes.data(), bytes.size());
  Outcome o;
  auto start = std::chrono::steady_clock::now();
  o.status = runMain(*run, static_cast<int>(argv.size()), argv.data(),
                     [](const char*) -> const char* { return nullptr; });
  o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  o.listing = static_cast<int64_t>(run->out.bytesWritten());
  o.served = run->rd.served;
  o.heap = heapProbeStop();
  run.reset();  // flushes the listing
  if (keepListing) {
    rewind(listing);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, listing)) > 0) o.text.append(buf, n);
    fclose(listing);
  }
  return o;
}

// The program over trace bytes in memory: its exit status, standard output
// and standard error. `prepare` sets the run up before it starts; `keep`,
// when given, receives the run once it is over.
struct Listed {
  int status = -1;
  std::string out, err;
};

inline std::string drained(FILE* f) {
  fflush(f);
  rewind(f);
  std::string s;
  char buf[1 << 16];
  for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;) s.append(buf, n);
  fclose(f);
  return s;
}

inline Listed listInMemory(const std::vector<uint8_t>& bytes, std::vector<std::string> args,
                           const std::function<void(Run&)>& prepare = {},
                           std::unique_ptr<Run>* keep = nullptr) {
  static FILE* null = fopen("/dev/null", "w");
  args.insert(args.begin(), "wireprint");
  args.push_back("trace");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  FILE* out = tmpfile();
  FILE* err = tmpfile();
  Listed l;
  auto run = std::make_unique<Run>();
  run->out.setStreams(err, out);
  run->rd.file.openMemory(bytes.data(), bytes.size());
  if (prepare) prepare(*run);
  l.status = runMain(*run, static_cast<int>(argv.size()), argv.data(),
                     [](const char*) -> const char* { return nullptr; });
  run->out.setStreams(null, null);  // writes out what is buffered
  l.out = drained(out);
  l.err = drained(err);
  if (keep) *keep = std::move(run);
  return l;
}

inline std::vector<uint8_t> compiled(const std::string& description) {
  tracec::Result r = tracec::compile(description);
  EXPECT_TRUE(r.ok()) << r.error;
  return r.bytes;
}

}  // namespace wp::test
