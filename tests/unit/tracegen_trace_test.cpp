// The trace generator: its records read back as the trace format lays them
// out, the same seed gives the same bytes, and the whole program walks a
// generated trace record for record.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "driver/run.h"
#include "stats/stmtstats.h"
#include "tracegen.h"
#include "wholerun.h"

namespace {

using tracegen::Config;
using tracegen::Session;

struct Record {
  char code[3];
  int32_t len = 0;  // packets only
  double time = 0;
  std::vector<uint8_t> data;
  std::string addr;  // MT only
};

struct Trace {
  int32_t version = 0;
  int internalVersion = -1;  // -1: no marker
  std::vector<Record> records;
  std::string error;  // how the bytes fail to be a trace
};

int32_t be32(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 |
                              p[3]);
}

// Reads the bytes as the trace format lays them out, independently of the
// program's reader.
Trace parse(const std::vector<uint8_t>& b) {
  Trace t;
  if (b.size() < 8 || memcmp(b.data(), "SQLI", 4) != 0) {
    t.error = "no header";
    return t;
  }
  t.version = be32(b.data() + 4);
  size_t at = 8;
  if (b.size() >= 12 && b[8] == 0 && b[9] == 110) {
    t.internalVersion = static_cast<int16_t>(b[10] << 8 | b[11]);
    at = 12;
  }
  while (at < b.size()) {
    Record r;
    if (b.size() - at < 10) {
      t.error = "cut record at " + std::to_string(at);
      return t;
    }
    memcpy(r.code, b.data() + at, 2);
    r.code[2] = 0;
    at += 2;
    std::string code = r.code;
    if (code == "MT") {
      r.addr.assign(reinterpret_cast<const char*>(b.data() + at), 8);
      at += 8;
    } else if (code == "CS" || code == "SC") {
      if (b.size() - at < 12) {
        t.error = "cut packet header at " + std::to_string(at);
        return t;
      }
      r.len = be32(b.data() + at);
      memcpy(&r.time, b.data() + at + 4, 8);
      at += 12;
      if (r.len < 0 || b.size() - at < static_cast<size_t>(r.len)) {
        t.error = "cut packet data at " + std::to_string(at);
        return t;
      }
      r.data.assign(b.begin() + static_cast<long>(at), b.begin() + static_cast<long>(at + r.len));
      at += static_cast<size_t>(r.len);
    } else {
      t.error = "unknown code " + code + " at " + std::to_string(at - 2);
      return t;
    }
    t.records.push_back(std::move(r));
  }
  return t;
}

std::vector<uint8_t> generate(const Config& cfg, tracegen::Stats* stats = nullptr) {
  tracegen::VectorSink sink;
  tracegen::Stats st = tracegen::generate(cfg, sink);
  if (stats) *stats = st;
  return sink.bytes;
}

Config small(Session s, uint64_t seed) {
  Config c;
  c.seed = seed;
  c.size = 256 << 10;
  c.session = s;
  c.statements = 300;
  c.threads = 5;
  return c;
}

TEST(TracegenTrace, RecordsReadBackAsCountedAndEveryPacketIsEven) {
  for (Session s : {Session::InternalVersion, Session::Protocols}) {
    for (int maxPacket : {32000, 300}) {
      Config cfg = small(s, 11);
      cfg.maxPacket = maxPacket;
      tracegen::Stats st;
      auto bytes = generate(cfg, &st);
      Trace t = parse(bytes);
      ASSERT_EQ(t.error, "");
      EXPECT_EQ(t.version, 7);
      EXPECT_EQ(t.internalVersion, s == Session::Protocols ? 316 : 310);
      EXPECT_EQ(bytes.size(), st.bytes);
      EXPECT_GE(st.bytes, cfg.size);
      ASSERT_EQ(t.records.size(), st.records);
      uint64_t cs = 0, sc = 0, mt = 0;
      double last = 0;
      for (const Record& r : t.records) {
        std::string code = r.code;
        if (code == "MT") {
          ++mt;
          continue;
        }
        ++(code == "CS" ? cs : sc);
        EXPECT_GT(r.len, 0);
        EXPECT_EQ(r.len % 2, 0) << "odd packet of " << r.len << " bytes";
        EXPECT_GE(r.time, last) << "time stamps go back";
        last = r.time;
      }
      EXPECT_EQ(cs, st.clientPackets);
      EXPECT_EQ(sc, st.serverPackets);
      EXPECT_EQ(mt, st.threadMarkers);
      if (maxPacket == 300) {
        EXPECT_GT(st.continuations, 0u);
      }
    }
  }
}

TEST(TracegenTrace, ThreadsHaveDistinctDecimalAddresses) {
  Config cfg = small(Session::InternalVersion, 4);
  cfg.threads = 9;
  Trace t = parse(generate(cfg));
  std::set<std::string> addrs;
  for (const Record& r : t.records) {
    if (std::string(r.code) != "MT") continue;
    // Digits only: the reader's automatic base would stop at a letter.
    for (char c : r.addr) ASSERT_TRUE(c >= '0' && c <= '9') << r.addr;
    ASSERT_NE(r.addr[0], '0') << "a leading zero reads as octal";
    addrs.insert(r.addr);
  }
  EXPECT_EQ(addrs.size(), 9u);
}

TEST(TracegenTrace, SameSeedSameBytesOtherSeedOtherBytes) {
  Config a = small(Session::Protocols, 42);
  auto first = generate(a);
  EXPECT_EQ(first, generate(a));
  Config b = a;
  b.seed = 43;
  EXPECT_NE(first, generate(b));
}

// ---- through the whole program ----

// Every record gets its line in the listing, in order and with its length.
TEST(TracegenTrace, ProgramListsEveryRecordInOrder) {
  Config cfg = small(Session::Protocols, 21);
  cfg.size = 96 << 10;
  cfg.maxPacket = 400;
  auto bytes = generate(cfg);
  Trace t = parse(bytes);
  ASSERT_EQ(t.error, "");
  wp::test::Listed l = wp::test::listInMemory(bytes, {});
  ASSERT_EQ(l.status, 0);
  std::vector<std::string> want, got;
  for (const Record& r : t.records) {
    if (std::string(r.code) == "MT")
      want.push_back("CLIENT THREAD OSTCB ADDRESS: 0x" + r.addr);
    else
      want.push_back(std::string(1, r.code[0]) + "->" + r.code[1] + " (" + std::to_string(r.len) +
                     ")");
  }
  ASSERT_GT(want.size(), 100u);
  size_t at = 0;
  while ((at = l.out.find('\n', at)) != std::string::npos) {
    ++at;
    size_t end = l.out.find_first_of("\n\t", at);
    std::string head = l.out.substr(at, end == std::string::npos ? end : end - at);
    if (head.rfind("C->S (", 0) == 0 || head.rfind("S->C (", 0) == 0 ||
        head.rfind("CLIENT THREAD", 0) == 0)
      got.push_back(head);
  }
  EXPECT_EQ(got, want);
}

// Counts of lines that begin with `prefix`, and the sum of the numbers that
// follow it on those lines.
struct Tally {
  uint64_t lines = 0;
  uint64_t sum = 0;
};
Tally tally(const std::string& text, const std::string& prefix) {
  Tally t;
  size_t at = 0;
  while ((at = text.find(prefix, at)) != std::string::npos) {
    if (at == 0 || text[at - 1] == '\n') {
      ++t.lines;
      t.sum += strtoull(text.c_str() + at + prefix.size(), nullptr, 10);
    }
    at += prefix.size();
  }
  return t;
}

// The decoders walk every generated message in step: no error line, and the
// rows, puts, binds and errors the generator wrote are the ones listed.
TEST(TracegenTrace, EveryMessageDecodesInStep) {
  for (Session s : {Session::InternalVersion, Session::Protocols}) {
    for (int maxPacket : {32000, 300}) {
      Config cfg = small(s, 77);
      cfg.maxPacket = maxPacket;
      tracegen::Stats st;
      auto bytes = generate(cfg, &st);
      for (auto args :
           std::vector<std::vector<std::string>>{{},
                                                 {"-tuple"},
                                                 {"-summary", "-stmt_stat", "-per_thread"},
                                                 {"-min", "-tuple"},
                                                 {"-udt", "-blob", "-isprint", "-cmd_time"}}) {
        std::string what = std::to_string(maxPacket) + (args.empty() ? "" : " " + args[0]);
        wp::test::Listed l = wp::test::listInMemory(bytes, args);
        EXPECT_EQ(l.status, 0) << what;
        EXPECT_EQ(l.err, "") << what;
        EXPECT_EQ(tally(l.out, "ERROR:").lines, 0u) << what;
        EXPECT_EQ(tally(l.out, "\tSQ_TUPLE\n").lines, st.tuples) << what;
        EXPECT_EQ(tally(l.out, "\tSQ_PUT\n").lines, st.puts) << what;
        EXPECT_EQ(tally(l.out, "\tSQ_BIND\n").lines, st.binds) << what;
        EXPECT_EQ(tally(l.out, "\tSQ_ERR\n").lines, st.errors) << what;
        if (args.empty()) {
          EXPECT_EQ(tally(l.out, "\t\tTuple length: ").sum, st.tupleBytes) << what;
        }
      }
    }
  }
}

}  // namespace

// ---- options that only change what is printed ----

namespace printonly {

void put32(std::vector<uint8_t>& o, int32_t v) {
  for (int s = 24; s >= 0; s -= 8) o.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> s));
}

// The same records with every packet cut again at random places, into parts
// of 0 to 11 bytes (only even ones when `even`): fields and values then
// straddle packet ends, and packets of no data fall in between. Odd parts
// also put pad bytes at packet ends, and unalign the messages after them.
std::vector<uint8_t> recut(const Trace& t, uint64_t seed, bool even) {
  std::vector<uint8_t> o = {'S', 'Q', 'L', 'I'};
  put32(o, t.version);
  if (t.internalVersion >= 0) {
    o.insert(o.end(), {0, 110, static_cast<uint8_t>(t.internalVersion >> 8),
                       static_cast<uint8_t>(t.internalVersion)});
  }
  uint64_t x = seed * 0x9e3779b97f4a7c15u + 1;
  auto next = [&x] {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    return x;
  };
  for (const Record& r : t.records) {
    if (std::string(r.code) == "MT") {
      o.insert(o.end(), {'M', 'T'});
      o.insert(o.end(), r.addr.begin(), r.addr.end());
      continue;
    }
    size_t at = 0;
    do {
      size_t n =
          std::min<size_t>(next() % 12 & (even ? ~size_t{1} : ~size_t{0}), r.data.size() - at);
      o.insert(o.end(), r.code, r.code + 2);
      put32(o, static_cast<int32_t>(n));
      uint8_t stamp[8];
      memcpy(stamp, &r.time, 8);
      o.insert(o.end(), stamp, stamp + 8);
      o.insert(o.end(), r.data.begin() + static_cast<long>(at),
               r.data.begin() + static_cast<long>(at + n));
      at += n;
    } while (at < r.data.size());
  }
  return o;
}

// What decoding did, apart from what it printed: the packet header lines,
// the dispatcher's message names and the error lines, in order. A name may
// end a line that a decoder left open. The PAM messages list an end of
// transmission of their own, unless -min (`pamEot` false).
std::vector<std::string> messageSequence(const std::string& out, bool pamEot) {
  std::vector<std::string> seq;
  bool pamOpen = false;  // a PAM message was listed; its own SQ_EOT may follow
  size_t at = 0;
  while (at < out.size()) {
    size_t end = out.find('\n', at);
    if (end == std::string::npos) end = out.size();
    std::string line = out.substr(at, end - at);
    at = end + 1;
    size_t tab = line.rfind('\t');
    std::string name = tab == std::string::npos ? "" : line.substr(tab + 1);
    bool message =
        name.size() > 3 && name.rfind("SQ_", 0) == 0 &&
        name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") == std::string::npos;
    bool header = line.rfind("C->S (", 0) == 0 || line.rfind("S->C (", 0) == 0;
    // A type name's error line is part of the name's printing, which -min
    // leaves out; every other error line tells of decoding.
    bool error = line.rfind("ERROR:", 0) == 0 && line.rfind("ERROR: Invalid Type (", 0) != 0;
    if (message && pamOpen && name == "SQ_EOT") {
      pamOpen = false;
      continue;
    }
    if (message || error) pamOpen = pamEot && (name == "SQ_CHALLENGE" || name == "SQ_RESPONSE");
    if (message) seq.push_back(name);
    if (header || error) seq.push_back(line);
  }
  return seq;
}

}  // namespace printonly

// Dumping BLOB, row and user-defined data in hex instead of skipping it
// leaves decoding exactly where skipping does: over many generated traces,
// cut again into small packets of any parity, the listings with and without
// -blob, -tuple and -udt read the same messages from the same packets.
TEST(TracegenTrace, DumpOptionsDecodeTheSameMessages) {
  int compared = 0, drifting = 0;
  for (uint64_t seed = 1; seed <= 80; ++seed) {
    Config cfg = small(seed % 2 ? Session::Protocols : Session::InternalVersion, seed);
    cfg.size = (4 + seed % 5) << 10;
    cfg.maxPacket = 256 + 2 * static_cast<int>(seed % 7);
    cfg.statements = 40;
    Trace t = parse(generate(cfg));
    ASSERT_EQ(t.error, "");
    for (uint64_t cut = 0; cut < 4; ++cut) {
      auto bytes = printonly::recut(t, seed * 16 + cut, cut % 2 == 0);
      wp::test::Listed plain = wp::test::listInMemory(bytes, {"-notimestamp"});
      auto want = printonly::messageSequence(plain.out, true);
      for (auto args : std::vector<std::vector<std::string>>{
               {"-notimestamp", "-blob", "-tuple", "-udt"},
               {"-notimestamp", "-tuple"},
               {"-notimestamp", "-min", "-isprint", "-cmd_time"}}) {
        wp::test::Listed dumped = wp::test::listInMemory(bytes, args);
        bool min = std::find(args.begin(), args.end(), "-min") != args.end();
        auto got = printonly::messageSequence(dumped.out, !min);
        ++compared;
        size_t i = 0;
        while (i < want.size() && i < got.size() && want[i] == got[i]) ++i;
        if (i == want.size() && i == got.size() && plain.status == dumped.status) continue;
        ++drifting;
        ADD_FAILURE() << "seed " << seed << " cut " << cut << " " << args[1] << ": line " << i
                      << " of the message sequence: plain \""
                      << (i < want.size() ? want[i] : "(end)") << "\", dumped \""
                      << (i < got.size() ? got[i] : "(end)") << "\"; status " << plain.status
                      << " / " << dumped.status;
      }
    }
  }
  EXPECT_EQ(drifting, 0) << "of " << compared << " listings compared";
}
