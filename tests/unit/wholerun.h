// The whole program over trace bytes held in memory, with standard output and
// error muted, measured: exit status, time taken, size of the listing, and
// the size of every buffer that a length in the trace can grow.
#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "driver/run.h"
#include "tracec.h"

namespace wp::test {

struct Outcome {
  int status = -1;
  double seconds = 0;
  int64_t listing = 0;  // bytes of the listing
  int64_t served = 0;   // bytes handed to the decoders
  size_t buffers = 0;   // bytes held by the run's growable buffers at the end
  std::string text;     // the listing, when asked for
};

// What the run keeps in buffers sized by the trace: the packet, printstring's
// text, the converted text, the statement texts and their message tables.
inline size_t bufferBytes(const Run& run) {
  size_t n = run.rd.packet.capacity() + run.textbuf.capacity() + run.cs.rubuf.capacity();
  for (const StmtStat& s : run.stmts.list)
    n += sizeof s + s.text.capacity() + s.msgs.capacity() * sizeof(StmtMsgStat);
  return n;
}

inline Outcome runWhole(const std::vector<uint8_t>& bytes, std::vector<std::string> args,
                        bool keepListing = false) {
  static FILE* null = fopen("/dev/null", "w");
  args.insert(args.begin(), "wireprint");
  args.push_back("trace");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  FILE* listing = keepListing ? tmpfile() : null;
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
  o.buffers = bufferBytes(*run);
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

inline std::vector<uint8_t> compiled(const std::string& description) {
  tracec::Result r = tracec::compile(description);
  EXPECT_TRUE(r.ok()) << r.error;
  return r.bytes;
}

}  // namespace wp::test
