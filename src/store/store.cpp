// The SQLite store of a trace.
#include "store/store.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "driver/msgtable.h"

namespace wp::store {

const char* const kSchema = R"sql(
CREATE TABLE trace (
  id INTEGER PRIMARY KEY,    -- the trace id every other row carries
  file TEXT,                 -- the trace file as named on the command line
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
  server_time REAL           -- server plus network time, seconds
);
CREATE TABLE threads (
  trace INTEGER, thread INTEGER,  -- the client thread's MT address
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
CREATE TABLE messages (
  trace INTEGER, packet INTEGER,
  offset INTEGER,     -- of the message type in the packet
  type INTEGER, name TEXT,
  fields TEXT         -- the message's fields as JSON; NULL until the JSON rendering fills it
);
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

}  // namespace

struct Store::Impl {
  sqlite3* db = nullptr;
  sqlite3_stmt *packet = nullptr, *message = nullptr, *trip = nullptr, *error = nullptr;
  int64_t trace = 1;
  int64_t rows = 0;
  std::string failure;  // the first error

  ~Impl() {
    for (sqlite3_stmt* s : {packet, message, trip, error}) sqlite3_finalize(s);
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
    if (failure.empty()) failure = what;
  }
  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &s, nullptr) != SQLITE_OK)
      fail(sqlite3_errmsg(db));
    return s;
  }
  // Steps a bound statement and counts the row towards the next commit.
  void step(sqlite3_stmt* s) {
    if (!s) return;
    if (sqlite3_step(s) != SQLITE_DONE) fail(sqlite3_errmsg(db));
    sqlite3_reset(s);
    if (++rows % kRowsPerCommit == 0) exec("COMMIT; BEGIN");
  }
  void bindOptional(sqlite3_stmt* s, int at, int64_t v) {
    if (v)
      sqlite3_bind_int64(s, at, v);
    else
      sqlite3_bind_null(s, at);
  }
};

Store::Store(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Store::~Store() = default;

std::unique_ptr<Store> Store::open(const std::string& path, int64_t traceId, std::string& error) {
  auto impl = std::make_unique<Impl>();
  impl->trace = traceId;
  // A new database each time: an older file of the name is replaced.
  if (::remove(path.c_str()) != 0 && errno != ENOENT) {
    error = strerror(errno);
    return nullptr;
  }
  if (sqlite3_open_v2(path.c_str(), &impl->db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                      nullptr) != SQLITE_OK) {
    error = impl->db ? sqlite3_errmsg(impl->db) : "out of memory";
    return nullptr;
  }
  // The file is written once, from start to end: no journal is needed, and a
  // run that dies leaves a file to delete, not one to recover.
  impl->exec(
      "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA locking_mode=EXCLUSIVE;"
      "PRAGMA cache_size=-16384");
  impl->exec(kSchema);
  impl->exec("BEGIN");
  impl->packet = impl->prepare("INSERT INTO packets VALUES (?1,?2,?3,?4,?5,?6,?7,?8)");
  impl->message = impl->prepare("INSERT INTO messages VALUES (?1,?2,?3,?4,?5,NULL)");
  impl->trip =
      impl->prepare("INSERT INTO round_trips VALUES (?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12)");
  impl->error = impl->prepare("INSERT INTO errors VALUES (?1,?2,?3,?4,?5,?6)");
  if (!impl->failure.empty()) {
    error = impl->failure;
    return nullptr;
  }
  for (sqlite3_stmt* s : {impl->packet, impl->message, impl->trip, impl->error})
    sqlite3_bind_int64(s, 1, traceId);
  return std::unique_ptr<Store>(new Store(std::move(impl)));
}

void Store::packet(const analysis::PacketRow& r) {
  sqlite3_stmt* s = impl_->packet;
  sqlite3_bind_int64(s, 2, r.number);
  sqlite3_bind_int64(s, 3, r.record);
  sqlite3_bind_text(s, 4, r.client ? "C" : "S", 1, SQLITE_STATIC);
  sqlite3_bind_int(s, 5, r.length);
  sqlite3_bind_double(s, 6, r.time);
  sqlite3_bind_int64(s, 7, r.thread);
  impl_->bindOptional(s, 8, r.roundTrip);
  impl_->step(s);
}

void Store::message(const analysis::MessageRow& r) {
  sqlite3_stmt* s = impl_->message;
  sqlite3_bind_int64(s, 2, r.packet);
  sqlite3_bind_int(s, 3, r.offset);
  sqlite3_bind_int(s, 4, r.type);
  const char* name = r.type >= 1 && r.type < kNumTypes ? kMessages[r.type].name : nullptr;
  if (name)
    sqlite3_bind_text(s, 5, name, -1, SQLITE_STATIC);
  else
    sqlite3_bind_null(s, 5);
  impl_->step(s);
}

void Store::roundTrip(const analysis::RoundTripRow& r) {
  sqlite3_stmt* s = impl_->trip;
  sqlite3_bind_int64(s, 2, r.number);
  sqlite3_bind_int64(s, 3, r.requestPacket);
  sqlite3_bind_int64(s, 4, r.thread);
  impl_->bindOptional(s, 5, r.statement);
  sqlite3_bind_double(s, 6, r.start);
  if (r.latency >= 0)
    sqlite3_bind_double(s, 7, r.latency);
  else
    sqlite3_bind_null(s, 7);
  sqlite3_bind_int(s, 8, r.replyPackets);
  sqlite3_bind_int64(s, 9, r.bytes);
  sqlite3_bind_int64(s, 10, r.rows);
  if (r.error) {
    sqlite3_bind_int(s, 11, r.sqlError);
    sqlite3_bind_int(s, 12, r.isamError);
  } else {
    sqlite3_bind_null(s, 11);
    sqlite3_bind_null(s, 12);
  }
  impl_->step(s);
}

void Store::error(const analysis::ErrorRow& r) {
  sqlite3_stmt* s = impl_->error;
  impl_->bindOptional(s, 2, r.roundTrip);
  sqlite3_bind_int64(s, 3, r.packet);
  impl_->bindOptional(s, 4, r.statement);
  sqlite3_bind_int(s, 5, r.sqlError);
  sqlite3_bind_int(s, 6, r.isamError);
  impl_->step(s);
}

bool Store::finish(const analysis::Collector& c, std::string& error) {
  Impl& m = *impl_;
  sqlite3_stmt* s = m.prepare("INSERT INTO statements VALUES (?1,?2,?3,?4,?5,?6)");
  if (s) {
    sqlite3_bind_int64(s, 1, m.trace);
    int64_t n = 0;
    for (const analysis::StatementInst& st : c.statements) {
      sqlite3_bind_int64(s, 2, ++n);
      sqlite3_bind_int64(s, 3, st.threadKey);
      sqlite3_bind_int(s, 4, st.id);
      sqlite3_bind_text(s, 5, st.raw.data(), static_cast<int>(st.raw.size()), SQLITE_STATIC);
      const std::string& norm = c.groups[st.group].text;
      sqlite3_bind_text(s, 6, norm.data(), static_cast<int>(norm.size()), SQLITE_STATIC);
      m.step(s);
    }
    sqlite3_finalize(s);
  }
  s = m.prepare("INSERT INTO threads VALUES (?1,?2,?3,?4,?5,?6,?7)");
  if (s) {
    sqlite3_bind_int64(s, 1, m.trace);
    for (const analysis::ThreadStats& t : c.threads) {
      sqlite3_bind_int64(s, 2, t.key);
      sqlite3_bind_int64(s, 3, static_cast<int64_t>(t.packets));
      sqlite3_bind_int64(s, 4, static_cast<int64_t>(t.trips));
      sqlite3_bind_double(s, 5, t.busy);
      sqlite3_bind_int64(s, 6, static_cast<int64_t>(t.statements));
      sqlite3_bind_int64(s, 7, static_cast<int64_t>(t.errors));
      m.step(s);
    }
    sqlite3_finalize(s);
  }
  s = m.prepare("INSERT INTO trace VALUES (?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13)");
  if (s) {
    sqlite3_bind_int64(s, 1, m.trace);
    sqlite3_bind_text(s, 2, c.file.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(s, 3, c.options.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(s, 4, WIREPRINT_VERSION, -1, SQLITE_STATIC);
    sqlite3_bind_double(s, 5, c.firstTime);
    sqlite3_bind_double(s, 6, c.lastTime);
    sqlite3_bind_int64(s, 7, c.packets[0] + c.packets[1]);
    sqlite3_bind_int64(s, 8, c.damagedPackets);
    sqlite3_bind_int64(s, 9, c.forks);
    sqlite3_bind_int64(s, 10, c.trips);
    sqlite3_bind_int64(s, 11, c.errors);
    sqlite3_bind_double(s, 12, c.clientTime);
    sqlite3_bind_double(s, 13, c.serverTime);
    m.step(s);
    sqlite3_finalize(s);
  }
  m.exec("COMMIT");
  // Indexes on the small tables only; the README shows how to add more.
  m.exec(
      "CREATE INDEX round_trips_statement ON round_trips(trace, statement);"
      "CREATE INDEX statements_number ON statements(trace, number)");
  error = m.failure;
  return m.failure.empty();
}

}  // namespace wp::store
