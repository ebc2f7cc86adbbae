// tracegen: writes large synthetic traces of whole client sessions, seeded and
// reproducible. A session start (session information, internal version or a
// capability exchange, server version, database open), then on several client
// threads a mix of prepared queries with describes and fetched rows, inserts
// through PUT and through BIND with typed values, immediate commands, failing
// statements and transactions. Every message follows the wire layout that the
// capability bits in force select, and is padded to an even length.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tracegen {

// How the session settles its capabilities.
enum class Session {
  InternalVersion,  // SQ_INTERNALVER 310: the version's fixed capability table
  Protocols,        // SQ_INTERNALVER 316, then an SQ_PROTOCOLS exchange
};

struct Config {
  uint64_t seed = 1;
  uint64_t size = uint64_t{64} << 20;  // stop once this many bytes are written; 0: no limit
  uint64_t ops = 0;                    // stop after this many operations; 0: no limit
  int statements = 2000;               // distinct SQL statements (distinct normalised texts)
  double newRatio = 0.05;              // share of operations that take the next statement in order
  int threads = 4;                     // client threads, 1 to 64
  Session session = Session::InternalVersion;
  int maxPacket = 32000;  // longer message streams are cut into packets of this size
  int maxRows = 400;      // rows of the largest result set or PUT batch
  // A slow phase: from slowFrom to slowTo seconds after the start, the server
  // takes slowFactor times as long to answer.
  double slowFrom = 0, slowTo = 0, slowFactor = 1;
};

// What a run wrote; the records are counted as the reader counts them.
struct Stats {
  uint64_t bytes = 0;
  uint64_t records = 0;        // every record, thread markers included
  uint64_t clientPackets = 0;  // "CS"
  uint64_t serverPackets = 0;  // "SC"
  uint64_t threadMarkers = 0;  // "MT"
  uint64_t messages = 0;
  uint64_t operations = 0;
  uint64_t tuples = 0;
  uint64_t tupleBytes = 0;
  uint64_t puts = 0;
  uint64_t binds = 0;
  uint64_t errors = 0;
  uint64_t continuations = 0;  // packets that begin inside a message's data
  int statementsUsed = 0;      // distinct statements operations were given
};

class Sink {
 public:
  virtual ~Sink() = default;
  virtual void write(const uint8_t* data, size_t n) = 0;
};

class VectorSink : public Sink {
 public:
  std::vector<uint8_t> bytes;
  void write(const uint8_t* data, size_t n) override { bytes.insert(bytes.end(), data, data + n); }
};

// Buffered writes to a stream; the stream stays the caller's.
class FileSink : public Sink {
 public:
  explicit FileSink(FILE* f) : f_(f), buf_(size_t{1} << 22) {}
  ~FileSink() override { flush(); }
  void write(const uint8_t* data, size_t n) override;
  bool flush();

 private:
  FILE* f_;
  std::vector<uint8_t> buf_;
  size_t len_ = 0;
  bool ok_ = true;
};

// Empty when the configuration can be generated, else what is wrong with it.
std::string check(const Config& cfg);

// Writes the whole trace to the sink.
Stats generate(const Config& cfg, Sink& out);

// The SQL text of every statement, literals drawn from literalSeed: two
// seeds give texts of each statement that differ only in their literals.
std::vector<std::string> statementTexts(const Config& cfg, uint64_t literalSeed);

}  // namespace tracegen
