#include "driver/reader.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "driver/format.h"
#include "driver/run.h"

namespace wp {

namespace {

int32_t be32(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 |
                              p[3]);
}

// Reads exactly n bytes. errno is cleared first, so a short read at the end
// of the file reports "Success" through perror, as the tool always has.
bool readFully(Reader& rd, void* dst, size_t n) {
  errno = 0;
  return rd.file.read(dst, n) == n;
}

// A read that came up short: the system's reason, or the decompressor's.
void readFailed(Run& run) {
  const std::string& why = run.rd.file.errorText();
  int err = errno;
  if (why.empty())
    run.out.perror(run.opt.inpfile.c_str());
  else
    run.out.err("%s: %s\n", run.opt.inpfile.c_str(), why.c_str());
  if (run.an && run.an->failure.empty())
    run.an->failure = !why.empty() ? why : err ? strerror(err) : "the trace ends inside a record";
}

}  // namespace

// The 8 time-stamp bytes, by the "-platform" encoding.
double decodeTime(const uint8_t* t, int format) {
  double d;
  switch (format) {
    case 2: {  // IEEEM: big-endian double
      uint8_t r[8];
      for (int i = 0; i < 8; ++i) r[i] = t[7 - i];
      memcpy(&d, r, 8);
      return d;
    }
    case 3:  // DECALPHA: seconds and microseconds
      return be32(t) + be32(t + 4) / 1000000.0;
    default:  // native little-endian double
      memcpy(&d, t, 8);
      return d;
  }
}

namespace {

// Local time of a whole second, "%Y-%m-%d %T"; empty when it cannot be shown.
bool formatSecond(Reader& rd, double seconds) {
  // Any whole second local time can convert, whatever its year; only a
  // number beyond 64 bits cannot even be asked.
  if (!(seconds < 9.2e18)) return false;
  auto whole = static_cast<int64_t>(seconds);
  if (whole == rd.cachedSecond) return true;
  time_t t = static_cast<time_t>(whole);
  struct tm tmv;
  if (!localtime_r(&t, &tmv)) return false;
  char buf[64];
  size_t n = strftime(buf, 30, "%Y-%m-%d %T", &tmv);
  rd.cachedDate.assign(buf, n);
  rd.cachedSecond = whole;
  return true;
}

void wrongTimestamp(Run& run) {
  run.out.err("Warning: the timestamp format you have chosen is wrong.\n");
  run.out.err("         No timestamp will be generated in the output file.\n");
  run.out.err("Please choose the correct type for the [-platform type] argument.\n");
  run.opt.timestamp = 0;
}

// Places the carried bytes at the start of the packet buffer and reads the
// record's L data bytes after them. The buffer grows only as data actually
// arrives, so a length beyond the file's end never allocates beyond it.
bool fillPacket(Run& run, const uint8_t* carry, int32_t carrylen, int32_t len) {
  Reader& rd = run.rd;
  auto& buf = rd.packet;
  int32_t keep = carrylen > 0 ? carrylen : 0;
  if (static_cast<size_t>(keep) > buf.size()) {
    std::vector<uint8_t> grown(std::max<size_t>(keep, 8192));
    memcpy(grown.data(), carry, keep);
    buf.swap(grown);
  } else if (keep > 0) {
    memmove(buf.data(), carry, keep);
  }
  if (len <= 0) {
    rd.packetlen = len;
    return true;
  }
  run.dbg("packet data starts at file pos = %ld len = %d\n", static_cast<long>(rd.file.tell()),
          len);
  size_t want = static_cast<size_t>(keep) + static_cast<size_t>(len);
  size_t have = keep;
  errno = 0;
  while (have < want) {
    // Doubles only once the bytes already read fill it, so the buffer stays
    // within twice the data that really arrived.
    if (buf.size() <= have) buf.resize(std::max<size_t>(8192, std::min(want, 2 * have)));
    size_t step = std::min(want - have, buf.size() - have);
    size_t got = rd.file.read(buf.data() + have, step);
    have += got;
    if (got < step) {
      readFailed(run);
      return false;
    }
  }
  rd.packetlen = static_cast<int32_t>(want);
  return true;
}

}  // namespace

bool readHeader(Run& run) {
  Reader& rd = run.rd;
  uint8_t magic[4], version[4];
  if (!readFully(rd, magic, 4)) {
    readFailed(run);
    return false;
  }
  if (memcmp(magic, "SQLI", 4) != 0) {
    run.em.at(-1);
    run.em.error("\nERROR: Invalid file format.\n");
    return false;
  }
  if (!readFully(rd, version, 4)) {
    readFailed(run);
    return false;
  }
  Emit& em = run.em;
  em.beginRecord("header");
  em.field("version", be32(version), "SQLIDBG Version %d\n", be32(version));
  const uint8_t* marker;
  if (rd.file.peek(&marker, 2) == 2 && (marker[0] << 8 | marker[1]) == 110) {
    rd.file.read(nullptr, 2);
    uint8_t iv[2];
    if (!readFully(rd, iv, 2)) {
      em.endRecord();
      readFailed(run);
      return false;
    }
    auto internal = static_cast<int16_t>(iv[0] << 8 | iv[1]);
    em.field("internal_version", internal, "Internal Version Number: %d\n", internal);
  }
  em.endRecord();
  run.out.flush();
  return true;
}

int getpacket(Run& run, const uint8_t* carry, int32_t carrylen) {
  Reader& rd = run.rd;
  Emit& em = run.em;
  Options& opt = run.opt;
  char code[2];
  for (;;) {
    errno = 0;
    size_t got = rd.file.read(code, 2);
    if (got == 0 && !rd.file.error()) return -1;
    if (got < 2) {
      readFailed(run);
      return -1;
    }
    memcpy(rd.msgdir, code, 2);
    ++rd.g_ipkt;
    bool known = (code[0] == 'C' && (code[1] == 'S' || code[1] == 'F')) ||
                 (code[0] == 'S' && (code[1] == 'C' || code[1] == 'F')) ||
                 (code[0] == 'M' && code[1] == 'T');
    if (!known) {
      em.at(-1);
      em.error("\nERROR: DIR Expected.\n");
      if (run.an) run.an->damaged(true);
    }
    if (code[0] == 'C') {
      ++run.sum.cs_packets;
      rd.dirLetter = 'c';
    } else {
      ++run.sum.sc_packets;
      rd.dirLetter = 's';
    }
    bool fork = code[1] == 'F' && (code[0] == 'C' || code[0] == 'S');
    bool thread = code[0] == 'M' && code[1] == 'T';
    if (fork || thread) {
      uint8_t m[8];
      errno = 0;
      bool ok = rd.file.read(m, 8) == 8;
      if (!ok && rd.file.error()) readFailed(run);
      if (ok && fork) {
        const char dir[] = {code[0], '-', '>', 'F', '\0'};
        em.beginRecord("fork");
        em.also("n", rd.g_ipkt);
        em.also("dir", dir);
        em.field("pid", be32(m), "\n%c->F  FORKED PROCESS %d\n", code[0], be32(m));
        em.endRecord();
      } else if (ok) {
        char text[9] = {};
        memcpy(text, m, 8);
        em.beginRecord("thread");
        em.also("n", rd.g_ipkt);
        em.field("address", text, "\nCLIENT THREAD OSTCB ADDRESS: 0x%s\n", text);
        run.thr.select(static_cast<int64_t>(strtol(text, nullptr, 0)));
        em.also("thread", run.thr.cur->index);
        em.endRecord();
        if (run.an) run.an->threadMarker(run, text);
      }
    } else {
      const char dir[] = {code[0], '-', '>', code[1], '\0'};
      em.beginRecord("packet");
      em.also("n", rd.g_ipkt);
      em.field("dir", dir, "\n%c->%c", code[0], code[1]);
    }
    run.out.flush();
    if (fork) {
      if (run.an) run.an->fork();
      rd.served += std::max(rd.packetlen, 0);
      return 0;
    }
    if (!thread) break;
  }

  // The packet's record stays open until its time stamp is read.
  auto fail = [&] {
    em.endRecord();
    readFailed(run);
    return -1;
  };
  uint8_t lenb[4], stamp[8];
  if (!readFully(rd, lenb, 4)) return fail();
  int32_t len = be32(lenb);
  if (opt.g_idbg) {
    const ThreadEntry* t = run.thr.cur;
    run.dbg("Thread: %d (0x%x) Stmt-ID: %d\n", t->index, static_cast<unsigned>(t->key), t->stmtid);
    run.dbg("Packet #%d Length = %d\n", rd.g_ipkt, len);
  }
  em.field("len", len, " (%d)", len);
  em.also("thread", run.thr.cur->index);
  if (!readFully(rd, stamp, 8)) return fail();

  rd.time_fl = 0;
  if (opt.timestamp) {
    rd.time_fl = decodeTime(stamp, opt.timestampformat);
    if (rd.time_fl >= 0 && rd.time_fl >= 1.0 && formatSecond(rd, rd.time_fl)) {
      // time stamp usable
    } else {
      wrongTimestamp(run);
      rd.time_fl = 0;
    }
  }
  bool first = !rd.not_first_time;
  if (first) rd.very_first_time_fl = rd.time_fl;
  double sincePrev = rd.time_fl - rd.prev_time_fl;
  if (opt.cmd_time && !first) {
    em.field("since_prev", sincePrev, "  PREV CMD Time: %.5f", sincePrev);
  } else {
    if (opt.timestamp && !first) em.also("since_prev", sincePrev);
    if (em.listing()) run.out.write("\t\t\t", 3);
  }
  if (opt.timestamp) {
    char frac[32];
    double whole = std::trunc(rd.time_fl);
    if (formatFraction5(rd.time_fl - whole, frac))
      frac[7] = '\0';
    else
      snprintf(frac, sizeof frac, "%.5f", rd.time_fl - whole);
    const char* iso = em.json() ? run.json->isoTime(rd.time_fl) : nullptr;
    em.field("time", iso, "\tTime: %s%s", rd.cachedDate.c_str(), frac + 1);
    em.also("epoch", rd.time_fl);
  }
  if (em.listing()) run.out.put('\n');
  em.endRecord();

  if (run.an) run.an->packet(run, code[0] == 'C', len);
  if (!fillPacket(run, carry, carrylen, len)) {
    if (run.an) run.an->damaged();
    return -1;
  }
  rd.served += std::max(rd.packetlen, 0);

  if (!first && run.dec.prev_msgtype >= 1 && run.dec.prev_msgtype <= 139)
    chargePrevious(run, rd.time_fl - rd.prev_time_fl);
  directionTime(run, code[0] == 'C', first);

  rd.not_first_time = 1;
  rd.prev_time_fl = rd.time_fl;
  run.out.flush();
  return 0;
}

}  // namespace wp
