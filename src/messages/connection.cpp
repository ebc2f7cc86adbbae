// Named connections of a client thread. The connection table is the thread
// table: each connection is an entry of its thread, and the thread's current
// connection is the entry whose statement ids the statistics follow.
#include <algorithm>
#include <cstring>
#include <string>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "values/text.h"

namespace wp {

namespace {

constexpr int kConnect = 112;
constexpr int kSetconn = 113;
constexpr int kDisconnect = 114;

enum Keyword : int16_t {
  kNamed = 0,
  kDefault = 1,
  kAll = 2,
  kCurrent = 3,
};

// Longest name an entry holds (its field has room for the closing 0 too).
constexpr int32_t kNameMax = sizeof(ThreadEntry::name) - 1;

struct Request {
  int16_t keyword;
  std::string name;  // the wire name, as far as the entry can hold it
  int32_t nameLen;   // its length on the wire
};

// A stored name matches when its first n bytes equal the wire name's (so
// "ab" finds "abc"); both sides stop at a 0 byte, and at most the bytes an
// entry can hold are compared.
bool nameMatches(const ThreadEntry& e, const Request& req) {
  return strncmp(e.name, req.name.c_str(), static_cast<size_t>(std::min(req.nameLen, kNameMax))) ==
         0;
}

// The first used entry of thread `key` that `pick` accepts, or null.
template <class Pick>
ThreadEntry* findEntry(Threads& thr, int64_t key, Pick pick) {
  for (auto& e : thr.tab)
    if (e.inuse && e.key == key && pick(e)) return &e;
  return nullptr;
}

void leaveCurrent(Threads& thr, int64_t key) {
  for (auto& e : thr.tab)
    if (e.inuse && e.key == key) e.active = 0;
}

void connect(Run& run, const Request& req) {
  Threads& thr = run.thr;
  if (req.keyword != kNamed && req.keyword != kDefault) {
    run.dbg("handle_connect: unexpected conn_kw %d imsg=%d\n", req.keyword, kConnect);
    return;
  }
  thr.plast = thr.cur;
  int64_t key = thr.cur->key;
  int32_t stmtid = thr.cur->stmtid;
  leaveCurrent(thr, key);
  ThreadEntry* e = std::find_if(std::begin(thr.tab), std::end(thr.tab),
                                [](const ThreadEntry& t) { return !t.inuse; });
  if (e == std::end(thr.tab)) {
    if (run.em.listing()) {
      run.out.printf("Too much connections, exiting...\n");
    } else {
      run.em.beginRecord("notice");
      run.em.also("text", "Too much connections, exiting...");
      run.em.endRecord();
    }
    run.exit(1);
  }
  *e = ThreadEntry{};
  e->inuse = 1;
  e->index = static_cast<int32_t>(e - thr.tab);
  e->key = key;
  e->stmtid = stmtid;
  e->active = 1;
  memcpy(e->name, req.name.data(), req.name.size());
  thr.cur = e;
}

void setconn(Run& run, const Request& req) {
  Threads& thr = run.thr;
  thr.plast = thr.cur;
  int64_t key = thr.cur->key;
  leaveCurrent(thr, key);
  for (int i = 0; i < Threads::kSize; ++i) {
    ThreadEntry& e = thr.tab[i];
    if (!e.inuse) continue;
    run.dbg("SETCONN: %d: adr=%x id=%d \"%s\"\n", i, static_cast<unsigned>(e.key), e.index, e.name);
    if (e.key != key) continue;
    bool match = req.keyword == kDefault ? e.name[0] == '\0' : nameMatches(e, req);
    if (match) {
      e.active = 1;
      thr.cur = &e;
      return;
    }
  }
  run.dbg("ERROR: SETCONN found no entry!!\n");
}

void disconnect(Run& run, const Request& req) {
  Threads& thr = run.thr;
  int64_t key = thr.cur->key;
  switch (req.keyword) {
    case kCurrent:
      *thr.cur = ThreadEntry{};
      if (thr.plast) thr.cur = thr.plast;
      break;
    case kAll:
      for (auto& e : thr.tab)
        if (e.inuse && e.key == key) e = ThreadEntry{};
      break;
    case kDefault:
      if (ThreadEntry* e = findEntry(thr, key, [](const ThreadEntry& t) { return !t.name[0]; })) {
        *e = ThreadEntry{};
        if (thr.plast) thr.cur = thr.plast;
      }
      break;
    case kNamed:
      if (ThreadEntry* e =
              findEntry(thr, key, [&](const ThreadEntry& t) { return nameMatches(t, req); }))
        *e = ThreadEntry{};
      break;
    default:
      break;
  }
}

}  // namespace

// Keyword, a first string, then the connection name; the same layout for all
// three messages.
void decodeConnection(Run& run, Cursor& cur) {
  Request req;
  req.keyword = cur.i16();
  switch (req.keyword) {
    case kDefault:
      run.em.field("keyword", "DEFAULT", "\t\tDEFAULT\n");
      break;
    case kAll:
      run.em.field("keyword", "ALL", "\t\tALL\n");
      break;
    case kCurrent:
      run.em.field("keyword", "CURRENT", "\t\tCURRENT\n");
      break;
    default:
      break;
  }
  int16_t len = cur.i16();
  if (len != 0) printstring(cur, len, "\t\t", 0, "server");
  req.nameLen = cur.i16();
  // The name is the key of the table operations: the text printstring read
  // (also across packets), as far as an entry can keep it.
  if (req.nameLen != 0) {
    printstring(cur, req.nameLen, "\t\t", 0, "connection_name");
    req.name = run.textbuf.substr(0, static_cast<size_t>(std::clamp(req.nameLen, 0, kNameMax)));
  }
  switch (run.dec.msgtype) {
    case kConnect:
      connect(run, req);
      break;
    case kSetconn:
      setconn(run, req);
      break;
    case kDisconnect:
      disconnect(run, req);
      break;
    default:
      run.dbg("handle_connect: unknown %d\n", run.dec.msgtype);
      break;
  }
}

}  // namespace wp
