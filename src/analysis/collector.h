// Round trips of a trace and what the report and the database need of them.
//
// The reader, the dispatcher and the statement decoders call the hooks below
// (only when -report or -db asked for a collector). A round trip is a client
// thread's request packet and the server packets of that thread that follow it
// until the thread's next request; its latency runs from the request to the
// first reply packet. Rows go to an optional RowSink as they complete, and
// each carries the trace id, so that the collectors of several traces can
// later feed one store.
//
// With a time window or thread filter only what the listing lists counts:
// packets, their messages and errors, the statements they send. A round trip
// counts, whole, when its request is listed: its latency, reply packets, rows
// and error come from its replies even when these lie past the window.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "analysis/percentile.h"
#include "analysis/timeline.h"
#include "render/fieldsink.h"

namespace wp {
struct Run;
}

namespace wp::analysis {

struct PacketRow {
  int64_t number;     // packets of the trace, from 1; markers not counted
  int64_t record;     // records read, markers included (the debug lines' packet #)
  bool client;        // C->S
  int32_t length;     // data bytes of the record
  double time;        // seconds since the epoch; 0 without time stamps
  int64_t thread;     // the MT address of its client thread (0 before any)
  int64_t roundTrip;  // 0 when it belongs to none
};

struct MessageRow {
  int64_t packet;  // where the message type starts
  int32_t offset;  // of the type in that packet (carried bytes included)
  int16_t type;
  // Its fields as a JSON object, valid during the sink's call; no data when
  // it has none (a type that is no message, or no JSON renderer).
  std::string_view fields;
};

struct RoundTripRow {
  int64_t number;
  int64_t requestPacket;
  int64_t thread;
  int64_t statement;  // 0 when the thread had none yet
  double start;
  double latency;  // < 0: no reply came
  int32_t replyPackets;
  int64_t bytes;  // request and reply data bytes
  int64_t rows;   // TUPLE messages in the reply
  bool error;
  int16_t sqlError, isamError;
};

struct ErrorRow {
  int64_t roundTrip, packet, statement;
  int16_t sqlError, isamError;
};

// Where rows go as they complete (the SQLite store).
class Collector;

class RowSink {
 public:
  virtual ~RowSink() = default;
  virtual void packet(const PacketRow& r) = 0;
  virtual void message(const MessageRow& r) = 0;
  virtual void roundTrip(const RoundTripRow& r) = 0;
  virtual void error(const ErrorRow& r) = 0;
  // The trace is done: the last rows, then the file is complete. False with
  // `error` set when a write failed.
  virtual bool finish(const Collector& c, std::string& error) = 0;
};

// A statement as the client sent it (PREPARE, COMMAND, ...).
struct StatementInst {
  int32_t thread = 0;  // index of the client thread entry
  int64_t threadKey = 0;
  int32_t id = 0;      // the server's id once known, else 1000000 + record number
  uint32_t group = 0;  // index in Collector::groups
  bool provisional = false;
  bool counted = true;  // sent in a listed packet, or the statement of one
  std::string raw;      // the text as sent; kept only for the database
};

// Statements with the same normalised text.
struct StatementGroup {
  std::string text;
  uint64_t trips = 0, rows = 0, errors = 0, replied = 0;
  double total = 0, max = 0;
  std::vector<float> latencies;  // kept only for the report
  bool counted = false;          // has a counted statement
};

struct ThreadStats {
  int32_t trace = 0;  // of several, the trace's index from 0
  int64_t key = 0;
  std::string address;  // "0x" and the MT record's text; empty before any
  uint64_t trips = 0, packets = 0, statements = 0, errors = 0;
  double busy = 0;  // latencies summed
  // The open round trip.
  bool open = false;
  bool tripCounted = false;  // its request was listed
  RoundTripRow trip{};
  uint32_t current = UINT32_MAX;  // current statement instance
};

struct ErrorGroup {
  uint64_t count = 0;
  int64_t firstPacket = 0;
  int32_t firstTrace = 0;            // of several, the trace of the first one
  uint32_t firstGroup = UINT32_MAX;  // statement group of the first one
};

// One of several traces, as the report's overview lists it.
struct TraceSummary {
  std::string file;
  std::string failure;  // why it could not be read to its end; empty when it could
  int64_t packets = 0, trips = 0, errors = 0, damagedPackets = 0;
  double firstTime = 0, lastTime = 0;
};

// The message rows wait for their fields, which the JSON renderer hands over
// as each message ends.
class Collector : public FieldsSink {
 public:
  Collector(int64_t traceId, bool keepLatencies, bool keepTexts)
      : traceId_(traceId), keepLatencies_(keepLatencies), keepTexts_(keepTexts) {}

  void setSink(std::unique_ptr<RowSink> s) { sink_ = std::move(s); }
  RowSink* sink() { return sink_.get(); }

  // Hooks.
  void packet(Run& run, bool client, int32_t length);
  void fork();
  // An MT record: `text` is its address as the listing shows it after "0x".
  void threadMarker(Run& run, const char* text);
  // A message type read at `offset`; `object` when the renderings make a
  // message of it, whose fields follow through messageFields() at its end.
  void message(int16_t type, int32_t offset, bool object);
  void messageFields(std::string_view json) override;
  void sqlError(int16_t sqlerr, int16_t isam);
  void statementText(Run& run, const char* text, int32_t len);
  void statementId(Run& run, int32_t id);
  // Damage found in the current packet, or in the header of the next one.
  void damaged(bool nextPacket = false);
  // End of the trace: open round trips are closed.
  void finish(Run& run);

  int64_t traceId() const { return traceId_; }

  // Adds the finished collector of trace number `trace` (from 0) of several:
  // its figures are summed, its statement groups joined to those of the same
  // normalised text, its threads kept apart. Called in argument order.
  void absorb(Collector& o, int32_t trace);
  // Whether this collector holds several traces (absorbed ones).
  bool merged() const { return !traces.empty(); }

  std::string file;     // the trace as named
  std::string options;  // the command line's options
  std::string failure;  // why the trace could not be read to its end
  // What the report and the store read once the trace is done.
  int64_t packets[2] = {0, 0};  // [0] C->S, [1] S->C
  int64_t bytes[2] = {0, 0};
  int64_t messages = 0, forks = 0, damagedPackets = 0;
  int64_t trips = 0, replied = 0, errors = 0;
  int64_t statementsSent = 0, distinctStatements = 0;  // counted ones, known at the end
  double firstTime = 0, lastTime = 0;
  double clientTime = 0, serverTime = 0;  // the summary's two clocks
  std::vector<ThreadStats> threads;       // in order of first packet
  std::vector<StatementInst> statements;  // in order sent
  std::vector<StatementGroup> groups;     // in order of first appearance
  std::map<std::pair<int16_t, int16_t>, ErrorGroup> errorGroups;
  LogHistogram all;
  // All latencies in bins of a quarter decade from 1 microsecond: bin 0
  // below it, bin b >= 1 from 10^((b - 1) / 4) microseconds.
  static constexpr int kCoarseBins = 42;
  static int coarseBin(double latency);
  std::array<uint64_t, kCoarseBins> coarse{};
  Timeline timeline;
  std::vector<TraceSummary> traces;  // of several, each in argument order

 private:
  ThreadStats& threadOf(int64_t key);
  void close(ThreadStats& t);
  int64_t statementNo(const ThreadStats& t) const {
    return t.current == UINT32_MAX ? 0 : int64_t{t.current} + 1;
  }
  uint32_t groupOf(std::string text);

  int64_t traceId_;
  bool keepLatencies_, keepTexts_;
  std::unique_ptr<RowSink> sink_;
  ThreadStats* cur_ = nullptr;  // thread of the current packet
  bool in_ = true;              // the current packet is listed
  int64_t packetNo_ = 0;
  bool afterFork_ = false;   // the reader hands the last packet again
  int64_t lastDamaged_ = 0;  // the packet last counted as damaged
  std::unordered_map<int64_t, uint32_t> threadIndex_;
  std::unordered_map<std::string, uint32_t> groupIndex_;
  // (thread entry, statement id) -> statement instance.
  std::unordered_map<uint64_t, uint32_t> byId_;
  // Message rows not yet passed on, in trace order: a message that runs on
  // into a packet decoded on its own ends after the messages of that packet,
  // and holds their rows back until it ends.
  struct Waiting {
    MessageRow row;
    bool done;    // passed on once it and every row before it are
    bool filled;  // `fields` came (else the row has none)
    std::string fields;
  };
  std::vector<Waiting> waiting_;
  int64_t passed_ = 0;  // rows passed on to the sink
  // Per message object begun and not ended: the number of its row, counted
  // as passed_ counts, or -1 for a message that has none (a packet handed
  // again after a fork).
  std::vector<int64_t> openRows_;
  void passWaiting();
};

}  // namespace wp::analysis
