#include "tracegen.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <memory>

#include "catalog.h"
#include "wirebuf.h"

namespace tracegen {

namespace {

// Message types the generator writes.
enum Msg : int {
  SQ_COMMAND = 1,
  SQ_PREPARE = 2,
  SQ_CURNAME = 3,
  SQ_ID = 4,
  SQ_BIND = 5,
  SQ_OPEN = 6,
  SQ_EXECUTE = 7,
  SQ_DESCRIBE = 8,
  SQ_NFETCH = 9,
  SQ_CLOSE = 10,
  SQ_RELEASE = 11,
  SQ_EOT = 12,
  SQ_ERR = 13,
  SQ_TUPLE = 14,
  SQ_DONE = 15,
  SQ_PUT = 17,
  SQ_CMMTWORK = 19,
  SQ_RBWORK = 20,
  SQ_NDESCRIBE = 22,
  SQ_BEGIN = 35,
  SQ_DBOPEN = 36,
  SQ_WANTDONE = 49,
  SQ_VERSION = 53,
  SQ_COST = 55,
  SQ_INFO = 81,
  SQ_FETARRSIZE = 92,
  SQ_INSERTDONE = 94,
  SQ_INTERNALVER = 110,
  SQ_PROTOCOLS = 126,
};

// Statement types of the describe header.
enum StmtType : int { kSelectStmt = 2, kUpdateStmt = 4, kDeleteStmt = 5, kInsertStmt = 6 };

constexpr double kStartTime = 1700000000.0;
constexpr int kHeaderVersion = 7;

// What the session start leaves in force, as the decoders will see it.
struct SessionCaps {
  int internalVersion;
  Caps protocolver, co, sub;
  Caps clientStream, serverStream;  // the SQ_PROTOCOLS streams (Protocols only)
  int streamLen = 0;
};

SessionCaps sessionCaps(Session s) {
  SessionCaps c;
  if (s == Session::InternalVersion) {
    // The fixed table of version 310; the answering vector is a copy of it.
    c.internalVersion = 310;
    c.protocolver.b[0] = 0x3c;
    c.protocolver.b[1] = 0xbf;
    c.protocolver.b[2] = 0x80;
    c.sub = c.protocolver;
    return c;
  }
  // Version 316 clears every vector; then the client offers its bits, the
  // server answers with its own, and the bits both have are in force.
  c.internalVersion = 316;
  const int common[] = {2, 3, 4, 5, 8, 9, 10, 11, 12, 13, 15, 21, 23, 49, 50, 53, 54, 56, 57};
  for (int bit : common) c.clientStream.set(bit), c.serverStream.set(bit);
  c.clientStream.set(60);  // offered by the client only
  c.serverStream.set(14);  // offered by the server only
  c.streamLen = 8;
  c.co = c.clientStream;
  for (int i = 0; i < Caps::kBytes; ++i) {
    c.sub.b[i] = i < 16 ? c.serverStream.b[i] & c.clientStream.b[i] : c.serverStream.b[i];
  }
  c.protocolver = c.sub;
  return c;
}

// Words for character data in rows and bound values.
const char* const kWords[] = {
    "alpha",  "bravo", "delta", "north",  "south",  "green", "blue", "red",   "amber", "open",
    "closed", "new",   "paid",  "urgent", "normal", "small", "wide", "steel", "oak",   "river",
};

struct Exchange {
  Stream cs, sc;
};

struct Thread {
  int index;
  char addr[9];  // the "MT" address text: eight characters
  int nextId = 1;
  bool dbOpen = false;
  bool inTxn = false;
  int txnOps = 0;
  std::deque<Exchange> pending;
  int newId() {
    int id = nextId;
    nextId = nextId >= 32000 ? 1 : nextId + 1;
    return id;
  }
};

class Generator {
 public:
  Generator(const Config& cfg, Sink& out)
      : cfg_(cfg),
        out_(out),
        rng_(cfg.seed),
        caps_(sessionCaps(cfg.session)),
        cat_(cfg.seed, cfg.statements),
        used_(0),
        seen_(static_cast<size_t>(cfg.statements)) {
    for (int i = 0; i < 4096; ++i) {
      pool_ += kWords[rng_.below(sizeof kWords / sizeof kWords[0])];
      pool_ += ' ';
    }
    for (int i = 0; i < cfg.threads; ++i) {
      auto t = std::make_unique<Thread>();
      t->index = i;
      // Address texts of digits only: the reader parses them with an automatic
      // base, and a letter would end the number early and merge threads.
      unsigned key = (30000000u + static_cast<unsigned>(i + 1) * 10240u) % 100000000u;
      snprintf(t->addr, sizeof t->addr, "%08u", key);
      threads_.push_back(std::move(t));
    }
  }

  Stats run() {
    header();
    sessionStart();
    uint64_t ops = 0;
    int last = -1;
    for (;;) {
      if (cfg_.size && stats_.bytes >= cfg_.size) break;
      bool more = !cfg_.ops || ops < cfg_.ops;
      int t = pickThread(last, more);
      if (t < 0) break;
      Thread& th = *threads_[t];
      if (th.pending.empty()) {
        operation(th);
        ++ops;
      }
      if (t != last) threadMarker(th);
      last = t;
      Exchange ex = std::move(th.pending.front());
      th.pending.pop_front();
      exchange(ex);
    }
    stats_.operations = ops;
    stats_.statementsUsed = used_;
    return stats_;
  }

 private:
  // ---- records ----

  void emit(const void* p, size_t n) {
    out_.write(static_cast<const uint8_t*>(p), n);
    stats_.bytes += n;
  }

  void header() {
    uint8_t h[12] = {'S', 'Q', 'L', 'I', 0, 0, 0, kHeaderVersion, 0, 110};
    h[10] = static_cast<uint8_t>(caps_.internalVersion >> 8);
    h[11] = static_cast<uint8_t>(caps_.internalVersion);
    emit(h, sizeof h);
  }

  // A packet record: code, length, time stamp (native little-endian double).
  void record(bool client, double time, const uint8_t* data, size_t n) {
    uint8_t h[14];
    h[0] = client ? 'C' : 'S';
    h[1] = client ? 'S' : 'C';
    for (int i = 0; i < 4; ++i) h[2 + i] = static_cast<uint8_t>(n >> (24 - 8 * i));
    uint64_t bits;
    memcpy(&bits, &time, 8);
    for (int i = 0; i < 8; ++i) h[6 + i] = static_cast<uint8_t>(bits >> (8 * i));
    emit(h, sizeof h);
    emit(data, n);
    ++stats_.records;
    ++(client ? stats_.clientPackets : stats_.serverPackets);
  }

  void threadMarker(const Thread& th) {
    uint8_t m[10] = {'M', 'T'};
    memcpy(m + 2, th.addr, 8);
    emit(m, sizeof m);
    ++stats_.records;
    ++stats_.threadMarkers;
  }

  // Writes one side's turn as packets of at most maxPacket bytes. Packets end
  // between messages, or inside row data at an even offset with the rest of
  // the data (and its pad byte) in the next packet.
  void send(const Stream& s, bool client) {
    const size_t max = static_cast<size_t>(cfg_.maxPacket);
    size_t start = 0;
    auto cut = [&](size_t at) {
      record(client, now_, s.b.data() + start, at - start);
      now_ += 0.00002;
      start = at;
    };
    for (const Piece& p : s.pieces) {
      count(p);
      if (p.end - start <= max) continue;
      if (p.begin > start) cut(p.begin);
      while (p.end - start > max && p.dataEnd > p.dataBegin) {
        size_t at = start + max;
        if (at >= p.dataEnd) at = (p.dataEnd - 1) & ~size_t{1};
        if (at <= p.dataBegin) break;
        cut(at);
        ++stats_.continuations;
      }
    }
    if (start < s.b.size()) cut(s.b.size());
  }

  // What the trace holds, counted as it is written.
  void count(const Piece& p) {
    ++stats_.messages;
    switch (p.type) {
      case SQ_TUPLE:
        ++stats_.tuples;
        stats_.tupleBytes += p.dataEnd - p.dataBegin;
        break;
      case SQ_PUT:
        ++stats_.puts;
        break;
      case SQ_BIND:
        ++stats_.binds;
        break;
      case SQ_ERR:
        ++stats_.errors;
        break;
      default:
        break;
    }
  }

  void exchange(const Exchange& ex) {
    send(ex.cs, true);
    double since = now_ - kStartTime;
    double slow = since >= cfg_.slowFrom && since < cfg_.slowTo ? cfg_.slowFactor : 1;
    now_ += slow * (0.0001 + 0.02 * std::pow(rng_.unit(), 4));  // server time
    send(ex.sc, false);
    now_ += 0.00005 + 0.005 * std::pow(rng_.unit(), 4);  // client time
  }

  // The next thread to go on: often the last one, while it has work queued.
  // Once no new operations may start, only threads with queued work; -1 when
  // there is none.
  int pickThread(int last, bool more) {
    int n = static_cast<int>(threads_.size());
    if (more) {
      if (last >= 0 && !threads_[last]->pending.empty() && rng_.chance(0.5)) return last;
      return static_cast<int>(rng_.below(n));
    }
    int from = static_cast<int>(rng_.below(n));
    for (int i = 0; i < n; ++i) {
      int t = (from + i) % n;
      if (!threads_[t]->pending.empty()) return t;
    }
    return -1;
  }

  // ---- session start ----

  void sessionStart() {
    Exchange ex;
    info(ex.cs);
    ex.cs.bare(SQ_EOT);
    ex.sc.msg(SQ_INTERNALVER);
    ex.sc.s16(caps_.internalVersion);
    ex.sc.end();
    ex.sc.bare(SQ_EOT);
    exchange(ex);
    if (cfg_.session == Session::Protocols) {
      Exchange p;
      protocols(p.cs, caps_.clientStream);
      p.cs.bare(SQ_EOT);
      protocols(p.sc, caps_.serverStream);
      p.sc.bare(SQ_EOT);
      exchange(p);
    }
    // The first SQ_VERSION of a run is the request, without a body.
    Exchange v;
    v.cs.bare(SQ_VERSION);
    v.cs.bare(SQ_EOT);
    v.sc.msg(SQ_VERSION);
    v.sc.str16("7.50.G3");
    v.sc.end();
    v.sc.bare(SQ_EOT);
    exchange(v);
  }

  void info(Stream& s) {
    static const char* const kEnv[][2] = {
        {"LANG", "C"}, {"TZ", "UTC"}, {"APP_NAME", "loadgen"}, {"CODESET", "ISO-8859-1"}};
    Stream body;
    size_t maxName = 0, maxValue = 0;
    for (auto& e : kEnv) {
      maxName = std::max(maxName, strlen(e[0]));
      maxValue = std::max(maxValue, strlen(e[1]));
    }
    body.s16(static_cast<int>(maxName));
    body.s16(static_cast<int>(maxValue));
    for (auto& e : kEnv) {
      body.str16(e[0]);
      body.str16(e[1]);
    }
    body.s16(0);
    s.msg(SQ_INFO);
    s.s16(6);  // INFO_ENV
    s.s16(static_cast<int>(body.b.size()));
    s.bytes(body.b.data(), body.b.size());
    s.s16(0);  // INFO_DONE
    s.end();
  }

  void protocols(Stream& s, const Caps& stream) {
    s.msg(SQ_PROTOCOLS);
    s.s16(caps_.streamLen);
    s.bytes(stream.b, static_cast<size_t>(caps_.streamLen));
    s.end();
  }

  // ---- message builders ----

  const Caps& pv() const { return caps_.protocolver; }

  void done(Stream& s, int rows) {
    s.msg(SQ_DONE);
    s.s16(0);
    s.s32(rows);
    s.s32(rows ? rng_.range(1, 1 << 20) : 0);
    s.s32(0);
    s.end();
  }

  void id(Stream& s, int stmt) {
    s.msg(SQ_ID);
    s.s16(stmt);
    s.end();
  }

  void statementText(Stream& s, int type, int values, const std::string& text) {
    s.msg(type);
    s.s16(values);
    if (pv().has(kLongText))
      s.s32(static_cast<int64_t>(text.size()));
    else
      s.s16(static_cast<int>(text.size()));
    s.text(text);
    s.padOdd(text.size());
    s.end();
  }

  void describe(Stream& s, int stmtType, int stmt, const Statement& st, bool columns) {
    const Table& t = cat_.table(st);
    int ncols = columns ? static_cast<int>(st.cols.size()) : 0;
    int strtab = 0;
    for (int i = 0; i < ncols; ++i)
      strtab += static_cast<int>(strlen(t.cols[st.cols[i]]->name)) + 1;
    bool longIndex = pv().has(kLongStringTable);
    s.msg(SQ_DESCRIBE);
    s.s16(stmtType);
    s.s16(stmt);
    s.s32(rng_.range(1, 5000));
    s.s16(columns ? cat_.rowWidth(st) : 0);
    s.s16(ncols);
    longIndex ? s.s32(strtab) : s.s16(strtab);
    int index = 0, offset = 0;
    for (int i = 0; i < ncols; ++i) {
      const ColumnDef& c = *t.cols[st.cols[i]];
      longIndex ? s.s32(index) : s.s16(index);
      s.s32(offset);
      s.s16(c.type);
      if (!(builtinType(c.type) && pv().has(kNoBuiltinBlock))) {
        s.s32(c.xid);
        s.str16(c.owner ? c.owner : "");
        s.str16(c.typeName ? c.typeName : "");
        s.s16((c.type & 0xff) == kUdtFixed ? 1 : 0);  // passed by reference
        s.s16(c.typeName ? 8 : 0);                    // alignment
        s.s32(c.source);
      }
      s.s32(c.length);
      index += static_cast<int>(strlen(c.name)) + 1;
      offset += c.width;
    }
    for (int i = 0; i < ncols; ++i) {
      const char* name = t.cols[st.cols[i]]->name;
      s.bytes(name, strlen(name) + 1);
    }
    s.end();
  }

  // DECIMAL wire form: exponent-and-sign byte, then base-100 digits.
  void decimal(Stream& s, std::vector<int> digits, int exponent, bool negative) {
    int b0 = 0x80 | ((exponent + 64) & 0x7f);
    if (negative) {
      b0 = ((exponent + 64) & 0x7f) ^ 0x7f;
      // Base-100 complement from the last non-zero digit back.
      int last = static_cast<int>(digits.size()) - 1;
      while (last >= 0 && digits[last] == 0) --last;
      for (int i = 0; i <= last; ++i) digits[i] = i == last ? 100 - digits[i] : 99 - digits[i];
    }
    s.u8(b0);
    for (int d : digits) s.u8(d);
  }

  // Fills `width` bytes of a column in a row.
  void cell(Stream& s, const ColumnDef& c, bool varying) {
    switch (c.type & 0xff) {
      case kChar:
        words(s, static_cast<size_t>(c.length));
        break;
      case kVarchar: {
        int n = rng_.range(0, c.length);
        s.u8(n);
        words(s, static_cast<size_t>(n));
        if (!varying) s.fill(' ', static_cast<size_t>(c.width - 1 - n));
        break;
      }
      case kSmallint:
        s.s16(rng_.range(0, 500));
        break;
      case kInt:
      case kDate:
        s.s32(rng_.range(1, 50000));
        break;
      case kDecimal:
      case kMoney:
      case kDatetime: {
        std::vector<int> d(static_cast<size_t>(c.width - 1));
        for (int& x : d) x = rng_.range(0, 99);
        d[0] = rng_.range(1, 99);
        decimal(s, d, rng_.range(1, 4), rng_.chance(0.1));
        break;
      }
      case kInt8:
        s.s16(1);
        s.s32(0);
        s.s32(rng_.range(0, 1 << 30));
        break;
      default:  // FLOAT, SMALLFLOAT, BIGINT, fixed user types: raw bytes
        for (int i = 0; i < c.width; ++i) s.u8(static_cast<int>(rng_.below(256)));
        break;
    }
  }

  void words(Stream& s, size_t n) {
    size_t at = rng_.below(static_cast<uint32_t>(pool_.size() - n - 1));
    s.bytes(pool_.data() + at, n);
  }

  void row(Stream& s, const Statement& st, bool varying) {
    const Table& t = cat_.table(st);
    for (int c : st.cols) cell(s, *t.cols[c], varying);
  }

  void tuple(Stream& s, const Statement& st) {
    s.msg(SQ_TUPLE);
    s.s16(0);
    size_t lenAt = s.b.size();
    pv().has(kNewDescribe) ? s.s32(0) : s.s16(0);
    s.dataStart();
    row(s, st, true);
    s.dataStop();
    size_t len = s.b.size() - lenAt - (pv().has(kNewDescribe) ? 4 : 2);
    pv().has(kNewDescribe) ? s.put32(lenAt, static_cast<int64_t>(len))
                           : s.put16(lenAt, static_cast<int>(len));
    s.end();
  }

  void put(Stream& s, const Statement& st, int rows) {
    int width = cat_.rowWidth(st);
    s.msg(SQ_PUT);
    pv().has(kLongPutRowSize) ? s.s32(width) : s.s16(width);
    pv().has(kLongCounts) ? s.s32(rows) : s.s16(rows);
    s.dataStart();
    for (int r = 0; r < rows; ++r) {
      row(s, st, false);
      s.padOdd(static_cast<size_t>(width));  // every row is padded
    }
    s.dataStop();
    s.end();
  }

  // The extended types among the bound columns, described before the values.
  void extendedTypes(Stream& s, const std::vector<const ColumnDef*>& cols) {
    std::vector<const ColumnDef*> ext;
    for (const ColumnDef* c : cols) {
      if (c->typeName && std::find(ext.begin(), ext.end(), c) == ext.end()) ext.push_back(c);
    }
    s.s32(static_cast<int64_t>(ext.size()));
    for (const ColumnDef* c : ext) {
      s.s32(c->xid);
      s.s16(c->type);
      s.str16(c->owner);
      s.str16(c->typeName);
      s.s32(c->width);  // len
      s.s32(c->width);  // maxlen
      s.u8('F');        // mode
      s.u8('B');        // domain
      s.s16(0);         // flags
      s.s16(8);         // align
      bool numeric = (c->type & 0xff) == kDecimal;
      s.s16(numeric ? c->length >> 8 : 0);    // precision
      s.s16(numeric ? c->length & 0xff : 0);  // scale
      s.s16(0);                               // not a named row type
      if (c->type & kDistinct) s.s32(c->source);
    }
  }

  void value(Stream& s, const ColumnDef& c) {
    s.s16(c.type);
    if (namedValueType(c.type, pv())) {
      s.str16(c.owner ? c.owner : "");
      s.str16(c.typeName ? c.typeName : "");
    }
    bool null = rng_.chance(0.05);
    s.s16(null ? -1 : 0);
    s.s16(c.length);
    if (null) return;
    switch (c.type & 0xff) {
      case kChar:
      case kVarchar: {
        size_t n = static_cast<size_t>(rng_.range(1, std::min(c.length, 24)));
        s.s16(static_cast<int>(n));
        words(s, n);
        s.padOdd(n);
        break;
      }
      case kSmallint:
        s.s16(rng_.range(-300, 300));
        break;
      case kInt:
      case kDate:
        s.s32(rng_.range(-100000, 100000));
        break;
      case kFloat: {
        // Floats travel big-endian once the internal version is above 304.
        double d = rng_.range(-100000, 100000) / 8.0;
        uint64_t bits;
        memcpy(&bits, &d, 8);
        s.s64(static_cast<int64_t>(bits));
        break;
      }
      case kSmallfloat: {
        float f = static_cast<float>(rng_.range(-1000, 1000)) / 4.0f;
        uint32_t bits;
        memcpy(&bits, &f, 4);
        s.s32(bits);
        break;
      }
      case kDecimal:
      case kMoney:
      case kDatetime: {
        int n = rng_.range(1, 5);
        std::vector<int> d(static_cast<size_t>(n));
        for (int& x : d) x = rng_.range(0, 99);
        d[0] = rng_.range(1, 99);
        s.s16(n + 1);
        decimal(s, d, rng_.range(-2, 4), rng_.chance(0.3));
        s.padOdd(static_cast<size_t>(n + 1));
        break;
      }
      case kInt8:
        s.s16(rng_.chance(0.2) ? -1 : 1);
        s.s32(rng_.range(0, 3));
        s.s32(rng_.range(0, 1 << 30));
        break;
      case kBigint:
        s.s64(static_cast<int64_t>(rng_.next() >> 8) - (int64_t{1} << 55));
        break;
      default: {  // user-defined: 4-byte length, the bytes, a pad byte when odd
        s.s32(c.width);
        for (int i = 0; i < c.width; ++i) s.u8(static_cast<int>(rng_.below(256)));
        s.padOdd(static_cast<size_t>(c.width));
        break;
      }
    }
  }

  void bind(Stream& s, const Statement& st) {
    const Table& t = cat_.table(st);
    std::vector<const ColumnDef*> cols;
    for (int p : st.params) cols.push_back(t.cols[p]);
    s.msg(SQ_BIND);
    s.s16(static_cast<int>(cols.size()));
    if (!cols.empty() && caps_.co.has(kExtendedBind) && caps_.sub.has(kExtendedBind))
      extendedTypes(s, cols);
    for (const ColumnDef* c : cols) value(s, *c);
    s.end();
  }

  void nfetch(Stream& s, int buffer) {
    s.msg(SQ_NFETCH);
    if (pv().has(kLongCounts) || pv().has(kLongBuffer))
      s.s32(buffer);
    else
      s.s16(buffer);
    if (pv().has(kFetchArray14) || pv().has(kFetchArray15)) s.s16(0);
    s.end();
  }

  void curname(Stream& s, const Thread& th, int stmt) {
    s.msg(SQ_CURNAME);
    std::string name = "c";
    name.append(std::to_string(th.index)).append("_").append(std::to_string(stmt));
    s.str16(name);
    s.end();
  }

  void err(Stream& s, int code, int isam, const std::string& text) {
    s.msg(SQ_ERR);
    s.s16(code);
    s.s16(isam);
    int offset = rng_.range(0, 60);
    pv().has(kLongText) ? s.s32(offset) : s.s16(offset);
    s.str16(text);
    if (code == -937 || code == 0) {
      s.text("42000");  // SQLSTATE, 5 bytes and a pad byte
      s.u8(0);
      std::string mi = "syntax error near token " + std::to_string(rng_.range(1, 999));
      s.s16(static_cast<int>(mi.size()));
      s.text(mi);
      s.padOdd(mi.size());
    }
    s.end();
  }

  void insertDone(Stream& s) {
    s.msg(SQ_INSERTDONE);
    s.s16(1);
    s.s32(0);
    s.s32(rng_.range(1, 1 << 30));
    if (pv().has(kBigserial)) s.s64(rng_.range(1, 1 << 30));
    s.end();
  }

  // ---- operations ----

  // With newRatio, the next statement in catalogue order (so that every one
  // appears); otherwise one drawn from the whole catalogue, the first ones
  // hotter. The draw does not depend on how far the trace has got, so any
  // stretch of a long trace holds the same mix.
  int pickStatement() {
    int n = cat_.size();
    int k;
    if (next_ < n && rng_.chance(cfg_.newRatio)) {
      k = next_++;
    } else {
      double u = rng_.unit();
      k = std::min(n - 1, static_cast<int>(n * u * u));
    }
    if (!seen_[k]) seen_[k] = true, ++used_;
    return k;
  }

  int pickRows() {
    double u = rng_.unit();
    return 1 + static_cast<int>((cfg_.maxRows - 1) * u * u * u);
  }

  Exchange& add(Thread& th) { return th.pending.emplace_back(); }

  void simple(Thread& th, int type) {
    Exchange& ex = add(th);
    if (type == SQ_RBWORK) {
      ex.cs.msg(SQ_RBWORK);
      ex.cs.s16(0);
      ex.cs.end();
    } else {
      ex.cs.bare(type);
    }
    ex.cs.bare(SQ_EOT);
    done(ex.sc, 0);
    ex.sc.bare(SQ_EOT);
  }

  // PREPARE with its describe; returns the server's statement id.
  int prepare(Thread& th, int k, int stmtType, bool columns) {
    const Statement& st = cat_.stmt(k);
    int stmt = th.newId();
    Exchange& ex = add(th);
    statementText(ex.cs, SQ_PREPARE, static_cast<int>(st.params.size()), cat_.text(k, rng_));
    ex.cs.bare(SQ_NDESCRIBE);
    ex.cs.bare(SQ_WANTDONE);
    ex.cs.bare(SQ_EOT);
    describe(ex.sc, stmtType, stmt, st, columns);
    done(ex.sc, 0);
    if (columns) {
      ex.sc.msg(SQ_COST);
      ex.sc.s32(rng_.range(1, 100000));
      ex.sc.s32(rng_.range(1, 1000));
      ex.sc.end();
    }
    ex.sc.bare(SQ_EOT);
    return stmt;
  }

  void release(Thread& th, int stmt, bool close) {
    Exchange& ex = add(th);
    if (close) {
      id(ex.cs, stmt);
      ex.cs.bare(SQ_CLOSE);
    }
    id(ex.cs, stmt);
    ex.cs.bare(SQ_RELEASE);
    ex.cs.bare(SQ_EOT);
    ex.sc.bare(SQ_EOT);
  }

  // Prepare, describe, open, fetch every row, close, release.
  void query(Thread& th, int k) {
    const Statement& st = cat_.stmt(k);
    int stmt = prepare(th, k, kSelectStmt, true);
    static const int kBuffers[] = {4096, 4096, 8192, 16384, 32000};
    int buffer = kBuffers[rng_.below(5)];
    int rows = pickRows();
    int width = cat_.rowWidth(st) + 8;
    bool first = true;
    while (rows > 0 || first) {
      Exchange& ex = add(th);
      id(ex.cs, stmt);
      if (first) {
        if (!st.params.empty()) bind(ex.cs, st);
        curname(ex.cs, th, stmt);
        ex.cs.bare(SQ_OPEN);
        if (rng_.chance(0.1)) {
          ex.cs.msg(SQ_FETARRSIZE);
          ex.cs.s16(rng_.range(2, 100));
          ex.cs.end();
        }
      }
      nfetch(ex.cs, buffer);
      ex.cs.bare(SQ_EOT);
      int n = std::max(1, buffer / width);
      n = std::min(n, rows);
      for (int i = 0; i < n; ++i) tuple(ex.sc, st);
      rows -= n;
      if (rows == 0) done(ex.sc, n);
      ex.sc.bare(SQ_EOT);
      first = false;
    }
    release(th, stmt, true);
  }

  // An insert cursor: rows go in PUT batches.
  void putRows(Thread& th, int k) {
    const Statement& st = cat_.stmt(k);
    int stmt = prepare(th, k, kInsertStmt, false);
    Exchange& open = add(th);
    id(open.cs, stmt);
    curname(open.cs, th, stmt);
    open.cs.bare(SQ_OPEN);
    open.cs.bare(SQ_EOT);
    done(open.sc, 0);
    open.sc.bare(SQ_EOT);
    int rows = pickRows();
    while (rows > 0) {
      int batch = std::min(rows, rng_.range(1, 200));
      Exchange& ex = add(th);
      id(ex.cs, stmt);
      put(ex.cs, st, batch);
      ex.cs.bare(SQ_EOT);
      done(ex.sc, batch);
      ex.sc.bare(SQ_EOT);
      rows -= batch;
    }
    release(th, stmt, true);
  }

  // Prepare, then execute with bound values a few times.
  void execute(Thread& th, int k, int stmtType) {
    const Statement& st = cat_.stmt(k);
    int stmt = prepare(th, k, stmtType, false);
    int times = rng_.range(1, 4);
    for (int i = 0; i < times; ++i) {
      Exchange& ex = add(th);
      id(ex.cs, stmt);
      bind(ex.cs, st);
      ex.cs.bare(SQ_EXECUTE);
      ex.cs.bare(SQ_EOT);
      if (stmtType == kInsertStmt && rng_.chance(0.02)) {
        err(ex.sc, -239, -100, "");  // duplicate key
      } else {
        if (stmtType == kInsertStmt && rng_.chance(0.3)) insertDone(ex.sc);
        done(ex.sc, 1);
      }
      ex.sc.bare(SQ_EOT);
    }
    release(th, stmt, false);
  }

  void command(Thread& th, int k) {
    Exchange& ex = add(th);
    statementText(ex.cs, SQ_COMMAND, 0, cat_.text(k, rng_));
    ex.cs.bare(SQ_EOT);
    done(ex.sc, rng_.range(0, 3));
    ex.sc.bare(SQ_EOT);
  }

  // A statement the server refuses at prepare time.
  void refused(Thread& th, int k) {
    Exchange& ex = add(th);
    statementText(ex.cs, SQ_PREPARE, static_cast<int>(cat_.stmt(k).params.size()),
                  cat_.text(k, rng_));
    ex.cs.bare(SQ_NDESCRIBE);
    ex.cs.bare(SQ_WANTDONE);
    ex.cs.bare(SQ_EOT);
    if (rng_.chance(0.3))
      err(ex.sc, -937, 0, "");
    else if (rng_.chance(0.5))
      err(ex.sc, -206, -111, cat_.table(cat_.stmt(k)).name);
    else
      err(ex.sc, -201, 0, "");
    ex.sc.bare(SQ_EOT);
  }

  void operation(Thread& th) {
    if (!th.dbOpen) {
      Exchange& ex = add(th);
      ex.cs.msg(SQ_DBOPEN);
      ex.cs.str16("benchdb");
      ex.cs.s16(0);
      ex.cs.end();
      ex.cs.bare(SQ_EOT);
      done(ex.sc, 0);
      ex.sc.bare(SQ_EOT);
      th.dbOpen = true;
    }
    if (!th.inTxn && rng_.chance(0.15)) {
      simple(th, SQ_BEGIN);
      th.inTxn = true;
      th.txnOps = rng_.range(1, 6);
    }
    int k = pickStatement();
    const Statement& st = cat_.stmt(k);
    if (rng_.chance(0.03)) {
      refused(th, k);
    } else {
      switch (st.kind) {
        case Kind::Select:
        case Kind::SelectLiteral:
          query(th, k);
          break;
        case Kind::Insert:
          rng_.chance(0.5) ? putRows(th, k) : execute(th, k, kInsertStmt);
          break;
        case Kind::Update:
          execute(th, k, kUpdateStmt);
          break;
        case Kind::Delete:
          command(th, k);
          break;
      }
    }
    if (th.inTxn && --th.txnOps == 0) {
      simple(th, rng_.chance(0.9) ? SQ_CMMTWORK : SQ_RBWORK);
      th.inTxn = false;
    }
  }

  const Config& cfg_;
  Sink& out_;
  Rng rng_;
  SessionCaps caps_;
  Catalog cat_;
  int used_;                // distinct statements drawn so far
  int next_ = 0;            // next statement in catalogue order
  std::vector<bool> seen_;  // statements drawn so far
  std::string pool_;
  std::vector<std::unique_ptr<Thread>> threads_;
  double now_ = kStartTime;
  Stats stats_;
};

}  // namespace

void FileSink::write(const uint8_t* data, size_t n) {
  if (buf_.size() - len_ < n) flush();
  if (n >= buf_.size()) {
    ok_ = ok_ && fwrite(data, 1, n, f_) == n;
    return;
  }
  memcpy(buf_.data() + len_, data, n);
  len_ += n;
}

bool FileSink::flush() {
  if (len_) ok_ = ok_ && fwrite(buf_.data(), 1, len_, f_) == len_;
  len_ = 0;
  return ok_ && fflush(f_) == 0;
}

std::string check(const Config& cfg) {
  if (cfg.statements < 1) return "--statements must be at least 1";
  if (cfg.threads < 1 || cfg.threads > 64) return "--threads must be from 1 to 64";
  if (cfg.maxPacket < 256 || cfg.maxPacket > (1 << 24) || (cfg.maxPacket & 1))
    return "--max-packet must be an even number from 256 to 16777216";
  if (cfg.maxRows < 1 || cfg.maxRows > 100000) return "--rows must be from 1 to 100000";
  if (!(cfg.newRatio >= 0 && cfg.newRatio <= 1)) return "--new-ratio must be from 0 to 1";
  if (!cfg.size && !cfg.ops) return "give --size or --ops (or both)";
  if (!(cfg.slowFactor >= 1 && cfg.slowFactor <= 1000) || !(cfg.slowTo >= cfg.slowFrom))
    return "--slow wants FROM:TO:FACTOR with FROM <= TO and FACTOR from 1 to 1000";
  return {};
}

Stats generate(const Config& cfg, Sink& out) {
  Generator g(cfg, out);
  return g.run();
}

std::vector<std::string> statementTexts(const Config& cfg, uint64_t literalSeed) {
  Catalog cat(cfg.seed, cfg.statements);
  Rng rng(literalSeed);
  std::vector<std::string> texts;
  for (int k = 0; k < cat.size(); ++k) texts.push_back(cat.text(k, rng));
  return texts;
}

}  // namespace tracegen
