// libFuzzer target over the whole run: the first two bytes choose options
// (the top bit of the second one a multibyte trace code set, and with -nocsc,
// which leaves that code set unused, the debug lines too), the rest is the
// trace. Exit paths report their status instead of exiting. The locale is
// UTF-8, so that -isprint and the conversions meet multibyte text.
//
// Each input is decoded twice, as the listing and with -json. Every JSON line
// must parse (nlohmann-json) as an object without duplicate keys, and each
// message object must hold as many leaves as the fields the listing run
// emitted for that message: a field that only one rendering shows, or text
// that bypasses the emission interface, is a finding.
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
//
// The input's size picks the analysis outputs (size mod 8: 1 -report, 2 -db,
// 3 both, else none, so that most runs stay fast). They are written to a
// temporary directory and checked afterwards: the page is whole, the database
// passes SQLite's integrity check, both give the collector's counts of
// packets, damaged packets and round trips, and every message row's fields
// parse as a JSON object.
#include <sanitizer/allocator_interface.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "driver/msgtable.h"
#include "driver/run.h"
#include "input/compression.h"
#include "messages/decoders.h"

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

// Scalars in a parsed value: the JSON leaves.
size_t leaves(const nlohmann::json& j) {
  if (!j.is_object() && !j.is_array()) return 1;
  size_t n = 0;
  for (const auto& v : j) n += leaves(v);
  return n;
}

[[noreturn]] void finding(const std::string& what, const std::string& line) {
  fprintf(stderr, "JSON rendering: %s\n%s\n", what.c_str(), line.substr(0, 2000).c_str());
  abort();
}

// Runs the input with -json, checks every line and returns the leaves of each
// message object in the order the lines came.
std::vector<size_t> jsonLeaves(const uint8_t* data, size_t size, std::vector<std::string> args,
                               std::vector<size_t>& tally, bool check) {
  args.insert(args.begin() + 1, "-json");
  std::vector<char*> argv;
  for (auto& s : args) argv.push_back(s.data());
  char* text = nullptr;
  size_t len = 0;
  FILE* mem = open_memstream(&text, &len);
  {
    auto run = std::make_unique<wp::Run>();
    run->out.setStreams(sink(), mem);
    run->em.setTally(&tally);
    run->rd.file.openMemory(data, size);
    wp::runMain(*run, static_cast<int>(argv.size()), argv.data(), lookup);
  }
  fclose(mem);
  std::string all(text, len);
  free(text);
  if (!check) return {};
  if (!all.empty() && all.back() != '\n') finding("output does not end in a newline", "");
  std::vector<size_t> out;
  std::istringstream in(all);
  for (std::string line; std::getline(in, line);) {
    std::vector<std::set<std::string>> keys;
    bool duplicate = false;
    auto check = [&](int, nlohmann::json::parse_event_t ev, nlohmann::json& parsed) {
      using E = nlohmann::json::parse_event_t;
      if (ev == E::object_start) keys.emplace_back();
      if (ev == E::object_end) keys.pop_back();
      if (ev == E::key && !keys.back().insert(parsed.get<std::string>()).second) duplicate = true;
      return true;
    };
    nlohmann::json j;
    try {
      j = nlohmann::json::parse(line, check);
    } catch (const nlohmann::json::exception& e) {
      finding(std::string("not JSON: ") + e.what(), line);
    }
    if (duplicate) finding("a key twice in one object", line);
    if (!j.is_object() || !j.contains("kind")) finding("not an object with a kind", line);
    if (j["kind"] == "message") out.push_back(leaves(j["fields"]));
  }
  return out;
}

std::string outDir;

[[noreturn]] void finding(const std::string& what) {
  fprintf(stderr, "%s\n", what.c_str());
  abort();
}

void checkReport(const std::string& path, const wp::analysis::Collector& c) {
  std::ifstream f(path);
  std::stringstream ss;
  ss << f.rdbuf();
  std::string page = ss.str();
  if (page.rfind("<!DOCTYPE html>", 0) != 0 || page.size() < 8 ||
      page.compare(page.size() - 8, 8, "</html>\n") != 0)
    finding("report page incomplete");
  std::string damaged = "<dt>damaged packets</dt><dd>" + std::to_string(c.damagedPackets) + "</dd>";
  if (page.find(damaged) == std::string::npos) finding("report does not say " + damaged);
}

void checkDatabase(const std::string& path, const wp::analysis::Collector& c) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
    finding("database does not open");
  std::string got;
  auto query = [&](const char* sql) {
    sqlite3_stmt* s = nullptr;
    got.clear();
    if (sqlite3_prepare_v2(db, sql, -1, &s, nullptr) == SQLITE_OK && sqlite3_step(s) == SQLITE_ROW)
      for (int i = 0; i < sqlite3_column_count(s); ++i) {
        auto t = sqlite3_column_text(s, i);
        got += (i ? "|" : "") + std::string(t ? reinterpret_cast<const char*>(t) : "-");
      }
    sqlite3_finalize(s);
    return got;
  };
  if (query("PRAGMA integrity_check") != "ok") finding("database integrity: " + got);
  std::string want = std::to_string(c.packets[0] + c.packets[1]) + "|" +
                     std::to_string(c.damagedPackets) + "|" + std::to_string(c.trips);
  for (const char* sql : {"SELECT packets, damaged_packets, round_trips FROM trace",
                          "SELECT (SELECT count(*) FROM packets), (SELECT damaged_packets FROM "
                          "trace), (SELECT count(*) FROM round_trips)"})
    if (query(sql) != want) finding(std::string(sql) + ": " + got + ", not " + want);
  // Every message's fields are one JSON object, also when damage cut the
  // message short; only a type that is no message has none.
  sqlite3_stmt* s = nullptr;
  if (sqlite3_prepare_v2(db, "SELECT type, fields FROM message_rows", -1, &s, nullptr) != SQLITE_OK)
    finding("message_rows does not read");
  while (sqlite3_step(s) == SQLITE_ROW) {
    int type = sqlite3_column_int(s, 0);
    auto text = reinterpret_cast<const char*>(sqlite3_column_text(s, 1));
    if (!text) {
      if (type >= 1 && type <= 139) finding("no fields for message type " + std::to_string(type));
      continue;
    }
    nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
    if (!j.is_object()) finding(std::string("fields are not a JSON object: ") + text);
  }
  sqlite3_finalize(s);
  sqlite3_close(db);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree);
  setenv("LC_ALL", "C.UTF-8", 1);
  char dir[] = "/tmp/wireprint-fuzz-XXXXXX";
  if (!mkdtemp(dir)) abort();
  outDir = dir;
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
  const std::string report = outDir + "/report.html", db = outDir + "/trace.sqlite";
  bool withReport = size % 8 == 1 || size % 8 == 3, withDb = size % 8 == 2 || size % 8 == 3;
  if (withReport) args.insert(args.end() - 1, {"-report", report});
  if (withDb) args.insert(args.end() - 1, {"-db", db});
  traceCodeset = data[1] & 0x80 ? "SHIFT_JIS" : nullptr;
  debugLevel = (data[1] & 0xc0) == 0xc0 ? "1" : nullptr;
  std::vector<char*> argv;
  for (auto& s : args) argv.push_back(s.data());
  heap = HeapWatch{true, 0, 0};
  auto run = std::make_unique<wp::Run>();
  std::vector<size_t> listingTally;
  std::vector<int> types;
  run->out.setStreams(sink(), sink());
  run->em.setTally(&listingTally, &types);
  run->rd.file.openMemory(data + 2, size - 2);
  wp::runMain(*run, static_cast<int>(argv.size()), argv.data(), lookup);
  heap.on = false;
  if (run->an) {
    if (withReport) checkReport(report, *run->an);
    if (withDb) checkDatabase(db, *run->an);
  }
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
  run.reset();
  std::vector<size_t> jsonTally;
  std::vector<size_t> parsed = jsonLeaves(data + 2, size - 2, args, jsonTally, true);
  if (jsonTally != listingTally) finding("the two renderings decoded different messages", "");
  if (parsed != listingTally) {
    size_t i = 0;
    while (i < parsed.size() && i < listingTally.size() && parsed[i] == listingTally[i]) ++i;
    finding("message " + std::to_string(i) + " has other leaves than the listing's fields", "");
  }
  return 0;
}
