// The SQLite store of a trace.
#include "store/store.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "driver/msgtable.h"

namespace wp::store {

const char* const kSchema = R"sql(
CREATE TABLE trace (
  id INTEGER PRIMARY KEY,    -- the trace id every other row carries
  file TEXT,                 -- the trace as named on the command line ("standard input" for -)
  options TEXT,              -- the command line's options
  version TEXT,              -- wireprint's version
  first_time REAL,           -- first and last time stamp, seconds since 1970
  last_time REAL,
  packets INTEGER,
  damaged_packets INTEGER,   -- packets the decoders found damaged
  forks INTEGER,             -- fork markers
  round_trips INTEGER,
  errors INTEGER,
  client_time REAL,          -- the summary's clocks: client time and
  server_time REAL,          -- server plus network time, seconds
  error TEXT                 -- why the trace could not be read to its end; NULL when it could
);
CREATE TABLE threads (
  trace INTEGER,
  thread INTEGER,     -- the number the MT record's address text reads as
  address TEXT,       -- that text as the listing shows it ("0x" and the text)
  packets INTEGER, round_trips INTEGER, busy REAL, statements INTEGER, errors INTEGER
);
CREATE TABLE packets (
  trace INTEGER,
  number INTEGER,     -- packets from 1, markers not counted
  record INTEGER,     -- records from 1, markers counted
  direction TEXT,     -- 'C' client to server, 'S' server to client
  length INTEGER, time REAL, thread INTEGER,
  round_trip INTEGER  -- NULL when the packet belongs to none
);
CREATE TABLE message_types (type INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE message_rows (
  trace INTEGER, packet INTEGER,
  offset INTEGER,     -- of the message type in the packet
  type INTEGER,
  fields TEXT         -- the message's fields: the JSON object -json writes as "fields";
                      -- NULL for a type that is no message
);
-- Every message with its type's name.
CREATE VIEW messages AS
  SELECT m.trace, m.packet, m.offset, m.type, t.name, m.fields
  FROM message_rows m LEFT JOIN message_types t USING (type);
CREATE TABLE statements (
  trace INTEGER,
  number INTEGER,     -- in the order sent, from 1
  thread INTEGER,     -- MT address
  id INTEGER,         -- the server's statement id (1000000 + record while none came)
  text TEXT, normalised TEXT
);
CREATE TABLE round_trips (
  trace INTEGER, number INTEGER, request_packet INTEGER, thread INTEGER,
  statement INTEGER,  -- statements.number; NULL before the thread sent any
  start REAL,         -- time of the request
  latency REAL,       -- to the first reply packet, seconds; NULL without a reply
  reply_packets INTEGER, bytes INTEGER, rows INTEGER,
  sql_error INTEGER, isam_error INTEGER  -- of the first SQ_ERR of the reply; NULL without
);
CREATE TABLE errors (
  trace INTEGER, round_trip INTEGER, packet INTEGER, statement INTEGER,
  sql_error INTEGER, isam_error INTEGER
);
)sql";

namespace {

// Rows per transaction: large enough that commits cost nothing measurable.
constexpr int64_t kRowsPerCommit = 1 << 20;
// Rows per INSERT statement: one step stores this many.
constexpr int kRowsPerInsert = 64;
// Rows handed to the writer at a time, and how many such parts may wait for
// it before the decoding waits in turn (which bounds the memory they take).
constexpr int kRowsPerPart = 16 * kRowsPerInsert;
constexpr size_t kPartsWaiting = 8;

// A column value waiting in a batch.
struct Value {
  enum Kind : uint8_t { Null, Int, Real, Text, Kept } kind = Null;
  int64_t i = 0;  // Kept: where the text begins in the part's copies
  double d = 0;
  const char* text = nullptr;  // static or outliving the batch's flush
  int len = 0;
};

}  // namespace

// Rows of one table on their way to SQLite, and the texts they copied.
struct Part {
  Batch* batch = nullptr;
  std::vector<Value> vals;
  std::string kept;
};

// Rows of one table, collected into parts that the writer stores
// kRowsPerInsert at a time through a multi-row INSERT, the rest through a
// one-row INSERT.
class Batch {
 public:
  // A streamed batch's rows go to the writer thread; the others' (written
  // while the writer rests) are stored at once.
  Batch(Store::Impl& m, const char* table, int cols, bool streamed = false);
  ~Batch() {
    sqlite3_finalize(many_);
    sqlite3_finalize(one_);
  }
  // The next row's columns, in order; the trace id goes first by itself.
  Batch& row();
  Batch& i(int64_t v) { return put(Value{Value::Int, v, 0, nullptr, 0}); }
  Batch& iOrNull(int64_t v) { return v ? i(v) : null(); }
  Batch& d(double v) { return put(Value{Value::Real, 0, v, nullptr, 0}); }
  Batch& text(const char* t, int len) { return put(Value{Value::Text, 0, 0, t, len}); }
  // A text that is gone after the call: copied until the row is stored.
  Batch& copy(std::string_view t) {
    auto at = static_cast<int64_t>(part_.kept.size());
    part_.kept.append(t);
    return put(Value{Value::Kept, at, 0, nullptr, static_cast<int>(t.size())});
  }
  Batch& null() { return put(Value{}); }
  // Hands over the rows collected so far.
  void flush();
  // Stores a part's rows (on the writer's thread).
  void write(const Part& p);

 private:
  Batch& put(const Value& v) {
    part_.vals.push_back(v);
    if (part_.vals.size() == static_cast<size_t>(cols_ * kRowsPerPart)) flush();
    return *this;
  }
  void step(sqlite3_stmt* s, const Part& p, size_t first, int rows);

  Store::Impl& m_;
  int cols_;
  bool streamed_;
  sqlite3_stmt *many_ = nullptr, *one_ = nullptr;
  Part part_;  // being filled
};

struct Store::Impl {
  sqlite3* db = nullptr;
  std::unique_ptr<Batch> packets, messages, trips, errors;
  int64_t trace = 1;
  int64_t rows = 0;
  size_t longestText = 0;  // SQLite's limit on a value's length
  std::string failure;     // the first error

  // The writer: SQLite's share of the work (binding, its B-trees, the
  // file's writes) runs on a thread of its own while a trace is decoded. It
  // starts with the first rows streamed, and rests (ended) whenever the
  // connection is used otherwise: at the end of a trace and before a copy.
  std::thread writer;
  std::mutex mu;
  std::condition_variable cv;
  std::deque<Part> waiting;  // for the writer, oldest first
  std::vector<Part> spare;   // stored parts, for their buffers (each table's its own)
  bool ending = false;
  std::mutex failMu;  // failure is set from either thread

  ~Impl() {
    endWriter(true);
    packets.reset();
    messages.reset();
    trips.reset();
    errors.reset();
    sqlite3_close(db);
  }

  bool exec(const char* sql) {
    char* msg = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &msg) == SQLITE_OK) return true;
    fail(msg ? msg : "error");
    sqlite3_free(msg);
    return false;
  }
  void fail(const char* what) {
    std::lock_guard<std::mutex> lock(failMu);
    if (failure.empty()) failure = what;
  }
  sqlite3_stmt* prepare(const std::string& sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v3(db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &s, nullptr) !=
        SQLITE_OK)
      fail(sqlite3_errmsg(db));
    return s;
  }
  // Counts rows towards the next commit.
  void stored(int n) {
    int64_t before = rows / kRowsPerCommit;
    rows += n;
    if (rows / kRowsPerCommit != before) exec("COMMIT; BEGIN");
  }

  // Takes `p` (left empty, with buffers to reuse) for the writer, waiting
  // while too many parts wait already; a part that is not streamed is
  // stored at once. `full` is the size of a full part's values.
  void send(Part& p, bool streamed, size_t full) {
    if (!streamed) {
      p.batch->write(p);
      p.vals.clear();
      p.kept.clear();
      return;
    }
    if (!writer.joinable()) {
      ending = false;
      writer = std::thread([this] { writeParts(); });
    }
    std::unique_lock<std::mutex> lock(mu);
    cv.wait(lock, [this] { return waiting.size() < kPartsWaiting; });
    Batch* b = p.batch;
    bool wasFull = p.vals.size() >= full;
    waiting.push_back(std::move(p));
    p = Part{};
    p.batch = b;
    // The buffers of a stored part of the same table; else, after a full
    // part, room for the next full one at once (growing it step by step
    // would map and unmap its memory again for every part).
    auto same =
        std::find_if(spare.rbegin(), spare.rend(), [b](const Part& s) { return s.batch == b; });
    if (same != spare.rend()) {
      p = std::move(*same);
      spare.erase(std::next(same).base());
    } else if (wasFull) {
      p.vals.reserve(full);
    }
    cv.notify_all();
  }
  void writeParts() {
    std::unique_lock<std::mutex> lock(mu);
    for (;;) {
      cv.wait(lock, [this] { return ending || !waiting.empty(); });
      if (waiting.empty()) return;
      Part p = std::move(waiting.front());
      waiting.pop_front();
      cv.notify_all();
      lock.unlock();
      p.batch->write(p);
      p.vals.clear();
      p.kept.clear();
      lock.lock();
      spare.push_back(std::move(p));
    }
  }
  // Lets the writer store what waits (or drops it, when `drop`) and end.
  void endWriter(bool drop) {
    if (!writer.joinable()) return;
    {
      std::lock_guard<std::mutex> lock(mu);
      if (drop) waiting.clear();
      ending = true;
    }
    cv.notify_all();
    writer.join();
  }
};

Batch::Batch(Store::Impl& m, const char* table, int cols, bool streamed)
    : m_(m), cols_(cols), streamed_(streamed) {
  std::string one = "(";
  for (int c = 0; c < cols; ++c) one += c ? ",?" : "?";
  one += ")";
  std::string sql = std::string("INSERT INTO ") + table + " VALUES " + one;
  one_ = m.prepare(sql);
  for (int r = 1; r < kRowsPerInsert; ++r) sql += "," + one;
  many_ = m.prepare(sql);
  part_.batch = this;
}

Batch& Batch::row() {
  return i(m_.trace);
}

void Batch::step(sqlite3_stmt* s, const Part& p, size_t first, int rows) {
  if (!s) return;
  for (int k = 0; k < cols_ * rows; ++k) {
    const Value& v = p.vals[first + static_cast<size_t>(k)];
    switch (v.kind) {
      case Value::Null:
        sqlite3_bind_null(s, k + 1);
        break;
      case Value::Int:
        sqlite3_bind_int64(s, k + 1, v.i);
        break;
      case Value::Real:
        sqlite3_bind_double(s, k + 1, v.d);
        break;
      case Value::Text:
        sqlite3_bind_text(s, k + 1, v.text, v.len, SQLITE_STATIC);
        break;
      case Value::Kept:
        sqlite3_bind_text(s, k + 1, p.kept.data() + v.i, v.len, SQLITE_STATIC);
        break;
    }
  }
  if (sqlite3_step(s) != SQLITE_DONE) m_.fail(sqlite3_errmsg(m_.db));
  sqlite3_reset(s);
}

void Batch::write(const Part& p) {
  size_t n = p.vals.size() / static_cast<size_t>(cols_), r = 0;
  for (; n - r >= kRowsPerInsert; r += kRowsPerInsert) {
    step(many_, p, r * static_cast<size_t>(cols_), kRowsPerInsert);
    m_.stored(kRowsPerInsert);
  }
  for (; r < n; ++r) {
    step(one_, p, r * static_cast<size_t>(cols_), 1);
    m_.stored(1);
  }
}

void Batch::flush() {
  if (!part_.vals.empty()) m_.send(part_, streamed_, static_cast<size_t>(cols_ * kRowsPerPart));
}

Store::Store(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Store::~Store() = default;

std::unique_ptr<Store> Store::open(const std::string& path, int64_t traceId, std::string& error) {
  // No allocation statistics: they cost a global lock per allocation. Set
  // once, before the library starts; each connection is used by one job.
  static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  (void)configured;
  auto impl = std::make_unique<Impl>();
  impl->trace = traceId;
  // A new database each time: an older file of the name is replaced.
  if (::remove(path.c_str()) != 0 && errno != ENOENT) {
    error = strerror(errno);
    return nullptr;
  }
  if (sqlite3_open_v2(path.c_str(), &impl->db,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                      nullptr) != SQLITE_OK) {
    error = impl->db ? sqlite3_errmsg(impl->db) : "out of memory";
    return nullptr;
  }
  // The file is written once, from start to end: no journal is needed, and a
  // run that dies leaves a file to delete, not one to recover.
  impl->exec(
      "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA locking_mode=EXCLUSIVE;"
      "PRAGMA cache_size=-16384");
  impl->longestText = static_cast<size_t>(sqlite3_limit(impl->db, SQLITE_LIMIT_LENGTH, -1));
  impl->exec(kSchema);
  impl->exec("BEGIN");
  if (sqlite3_stmt* s = impl->prepare("INSERT INTO message_types VALUES (?1, ?2)")) {
    for (int t = 1; t < kNumTypes; ++t) {
      if (!kMessages[t].name) continue;
      sqlite3_bind_int(s, 1, t);
      sqlite3_bind_text(s, 2, kMessages[t].name, -1, SQLITE_STATIC);
      if (sqlite3_step(s) != SQLITE_DONE) impl->fail(sqlite3_errmsg(impl->db));
      sqlite3_reset(s);
    }
    sqlite3_finalize(s);
  }
  impl->packets = std::make_unique<Batch>(*impl, "packets", 8, true);
  impl->messages = std::make_unique<Batch>(*impl, "message_rows", 5, true);
  impl->trips = std::make_unique<Batch>(*impl, "round_trips", 12, true);
  impl->errors = std::make_unique<Batch>(*impl, "errors", 6, true);
  if (!impl->failure.empty()) {
    error = impl->failure;
    return nullptr;
  }
  return std::unique_ptr<Store>(new Store(std::move(impl)));
}

void Store::packet(const analysis::PacketRow& r) {
  impl_->packets->row()
      .i(r.number)
      .i(r.record)
      .text(r.client ? "C" : "S", 1)
      .i(r.length)
      .d(r.time)
      .i(r.thread)
      .iOrNull(r.roundTrip);
}

void Store::message(const analysis::MessageRow& r) {
  Batch& b = impl_->messages->row().i(r.packet).i(r.offset).i(r.type);
  // A message too long for SQLite (a hostile trace's) keeps no fields.
  if (r.fields.data() && r.fields.size() <= impl_->longestText)
    b.copy(r.fields);
  else
    b.null();
}

void Store::roundTrip(const analysis::RoundTripRow& r) {
  Batch& b = impl_->trips->row()
                 .i(r.number)
                 .i(r.requestPacket)
                 .i(r.thread)
                 .iOrNull(r.statement)
                 .d(r.start);
  if (r.latency >= 0)
    b.d(r.latency);
  else
    b.null();
  b.i(r.replyPackets).i(r.bytes).i(r.rows);
  if (r.error)
    b.i(r.sqlError).i(r.isamError);
  else
    b.null().null();
}

void Store::error(const analysis::ErrorRow& r) {
  impl_->errors->row()
      .iOrNull(r.roundTrip)
      .i(r.packet)
      .iOrNull(r.statement)
      .i(r.sqlError)
      .i(r.isamError);
}

namespace {

// The statements, threads and trace rows of one trace, known at its end.
void writeTrace(Store::Impl& m, const analysis::Collector& c) {
  {
    Batch statements(m, "statements", 6);
    int64_t n = 0;
    // Numbers keep their place among all statements sent, also where a
    // filter leaves some out.
    for (const analysis::StatementInst& st : c.statements) {
      ++n;
      if (!st.counted) continue;
      const std::string& norm = c.groups[st.group].text;
      statements.row()
          .i(n)
          .i(st.threadKey)
          .i(st.id)
          .text(st.raw.data(), static_cast<int>(st.raw.size()))
          .text(norm.data(), static_cast<int>(norm.size()));
    }
    statements.flush();
  }
  {
    Batch threads(m, "threads", 8);
    for (const analysis::ThreadStats& t : c.threads) {
      threads.row()
          .i(t.key)
          .text(t.address.data(), static_cast<int>(t.address.size()))
          .i(static_cast<int64_t>(t.packets))
          .i(static_cast<int64_t>(t.trips))
          .d(t.busy)
          .i(static_cast<int64_t>(t.statements))
          .i(static_cast<int64_t>(t.errors));
    }
    threads.flush();
  }
  {
    Batch trace(m, "trace", 14);
    trace.row()
        .text(c.file.data(), static_cast<int>(c.file.size()))
        .text(c.options.data(), static_cast<int>(c.options.size()))
        .text(WIREPRINT_VERSION, -1)
        .d(c.firstTime)
        .d(c.lastTime)
        .i(c.packets[0] + c.packets[1])
        .i(c.damagedPackets)
        .i(c.forks)
        .i(c.trips)
        .i(c.errors)
        .d(c.clientTime)
        .d(c.serverTime);
    if (c.failure.empty())
      trace.null();
    else
      trace.text(c.failure.data(), static_cast<int>(c.failure.size()));
    trace.flush();
  }
}

}  // namespace

bool Store::finish(const analysis::Collector& c, std::string& error) {
  Impl& m = *impl_;
  for (Batch* b : {m.packets.get(), m.messages.get(), m.trips.get(), m.errors.get()}) b->flush();
  m.endWriter(false);
  if (!c.merged()) writeTrace(m, c);
  m.exec("COMMIT");
  // Indexes on the small tables only; the README shows how to add more.
  m.exec(
      "CREATE INDEX round_trips_statement ON round_trips(trace, statement);"
      "CREATE INDEX statements_number ON statements(trace, number)");
  error = m.failure;
  return m.failure.empty();
}

bool Store::append(const std::string& path) {
  Impl& m = *impl_;
  m.endWriter(false);
  // A database is attached outside a transaction.
  m.exec("COMMIT");
  char* attach = sqlite3_mprintf("ATTACH DATABASE %Q AS part", path.c_str());
  bool ok = m.exec(attach ? attach : "ATTACH");
  sqlite3_free(attach);
  if (ok) {
    m.exec("BEGIN");
    for (const char* table :
         {"trace", "threads", "packets", "message_rows", "statements", "round_trips", "errors"}) {
      std::string sql = std::string("INSERT INTO main.") + table + " SELECT * FROM part." + table;
      if (!m.exec(sql.c_str())) break;
    }
    m.exec("COMMIT");
    m.exec("DETACH DATABASE part");
  }
  m.exec("BEGIN");
  return m.failure.empty();
}

void Store::beginTrace(int64_t id) {
  impl_->trace = id;
}

bool Store::endTrace(const analysis::Collector& c) {
  Impl& m = *impl_;
  for (Batch* b : {m.packets.get(), m.messages.get(), m.trips.get(), m.errors.get()}) b->flush();
  m.endWriter(false);
  writeTrace(m, c);
  return m.failure.empty();
}

bool TraceWriter::finish(const analysis::Collector& c, std::string& error) {
  if (all_.endTrace(c)) return true;
  error = "write failed";
  return false;
}

void Store::fail(const std::string& why) {
  impl_->fail(why.c_str());
}

}  // namespace wp::store
