// Micro-benchmarks of the paths every byte of a trace goes through: the packet
// header line, the hex dump of -tuple, statement normalisation, and whole runs
// over generated traces.
//
//   build-bench/wireprint_micro [--benchmark_filter=REGEX]
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "driver/cursor.h"
#include "driver/reader.h"
#include "driver/run.h"
#include "stats/stmtstats.h"
#include "tracegen.h"
#include "values/text.h"

namespace {

FILE* devnull() {
  static FILE* f = fopen("/dev/null", "w");
  return f;
}

std::unique_ptr<wp::Run> quietRun() {
  auto run = std::make_unique<wp::Run>();
  run->out.setStreams(devnull(), devnull());
  return run;
}

// The hex dump of n bytes lying in one packet.
void BM_Hexdump(benchmark::State& state) {
  auto n = static_cast<int32_t>(state.range(0));
  auto run = quietRun();
  run->rd.packet.resize(static_cast<size_t>(n) + 1);
  for (int32_t i = 0; i < n; ++i) run->rd.packet[i] = static_cast<uint8_t>(i * 37 + 11);
  run->rd.packetlen = n + 1;
  for (auto _ : state) {
    wp::Cursor cur(*run);
    wp::hexdump(cur, n);
    benchmark::DoNotOptimize(cur.pos);
  }
  state.SetBytesProcessed(state.iterations() * n);
}
BENCHMARK(BM_Hexdump)->Arg(16)->Arg(200)->Arg(4096);

// Trace bytes: the header, then `packets` packets of one SQ_EOT each, `step`
// seconds apart.
std::vector<uint8_t> tinyPackets(int packets, double step) {
  std::vector<uint8_t> b = {'S', 'Q', 'L', 'I', 0, 0, 0, 7};
  double t = 1700000000.0;
  for (int i = 0; i < packets; ++i) {
    const uint8_t head[] = {static_cast<uint8_t>(i & 1 ? 'S' : 'C'),
                            static_cast<uint8_t>(i & 1 ? 'C' : 'S'),
                            0,
                            0,
                            0,
                            2};
    b.insert(b.end(), head, head + sizeof head);
    uint8_t stamp[8];
    memcpy(stamp, &t, 8);
    b.insert(b.end(), stamp, stamp + 8);
    b.push_back(0);
    b.push_back(12);
    t += step;
  }
  return b;
}

// Reading records and printing their header lines, without decoding: many
// packets share a second (the usual case), or each has its own.
void BM_PacketHeaders(benchmark::State& state) {
  const int kPackets = 10000;
  auto bytes = tinyPackets(kPackets, state.range(0) ? 1.5 : 0.0005);
  for (auto _ : state) {
    auto run = quietRun();
    run->opt.inpfile = "trace";
    run->thr.reset();
    run->rd.file.openMemory(bytes.data(), bytes.size());
    wp::readHeader(*run);
    while (wp::getpacket(*run, nullptr, 0) == 0) {
    }
    run->out.sync();
  }
  state.SetItemsProcessed(state.iterations() * kPackets);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(BM_PacketHeaders)->Arg(0)->Arg(1);

// Normalising the generator's statement texts, as -stmt_stat does for every
// COMMAND and PREPARE.
void BM_NormaliseSql(benchmark::State& state) {
  tracegen::Config cfg;
  cfg.statements = 1000;
  auto texts = tracegen::statementTexts(cfg, 3);
  int64_t bytes = 0;
  for (auto& t : texts) bytes += static_cast<int64_t>(t.size());
  for (auto _ : state) {
    for (auto& t : texts) {
      std::string n = wp::normaliseSql(t.data(), static_cast<int32_t>(t.size()));
      benchmark::DoNotOptimize(n.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
  state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_NormaliseSql);

const std::vector<uint8_t>& generated() {
  static std::vector<uint8_t> bytes = [] {
    tracegen::Config cfg;
    cfg.size = 8 << 20;
    cfg.seed = 7;
    tracegen::VectorSink sink;
    tracegen::generate(cfg, sink);
    return sink.bytes;
  }();
  return bytes;
}

// Whole runs over a generated 8 MB trace held in memory, listing discarded.
void runWith(benchmark::State& state, std::vector<std::string> args) {
  const auto& bytes = generated();
  args.insert(args.begin(), "wireprint");
  args.push_back("trace");
  for (auto _ : state) {
    std::vector<std::string> copy = args;
    std::vector<char*> argv;
    for (auto& a : copy) argv.push_back(a.data());
    auto run = quietRun();
    run->rd.file.openMemory(bytes.data(), bytes.size());
    int status = wp::runMain(*run, static_cast<int>(argv.size()), argv.data(),
                             [](const char*) -> const char* { return nullptr; });
    if (status != 0) state.SkipWithError("wireprint failed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}

void BM_RunDefault(benchmark::State& state) {
  runWith(state, {});
}
void BM_RunTuple(benchmark::State& state) {
  runWith(state, {"-tuple"});
}
void BM_RunStatementStats(benchmark::State& state) {
  runWith(state, {"-summary", "-stmt_stat"});
}
BENCHMARK(BM_RunDefault)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RunTuple)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RunStatementStats)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
