// Database lists, opens, isolation levels and server versions.
#include "messages/database.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/rawtext.h"
#include "values/codeset.h"
#include "values/text.h"

namespace wp {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Rows from the newest version down; the first that holds wins. Rows with a
// ceiling of "7.z" cover only the 7.x line. The two newest masks lack 0x80.
struct Row {
  const char* atLeast;
  bool only7;
  uint64_t mask;
};
constexpr Row kLadder[] = {
    {"9.0304", false, 0xa038}, {"9.0303", false, 0x8038}, {"9.03", false, 0xb8},
    {"9.02", false, 0xb0},     {"9.00", false, 0xa0},     {"8.40", false, 0x202080},
    {"7.30", true, 0x40c2},    {"7.23", true, 0xc2},      {"7.22", true, 0xc0},
    {"6.00", false, 0x80},
};

}  // namespace

void _sq_filter(char* v) {
  const char* from = v;
  while (*from && !isDigit(*from)) ++from;
  char* to = v;
  while (isDigit(*from) || *from == '.') *to++ = *from++;
  *to = '\0';
}

int stcmpr(const char* a, const char* b) {
  auto* x = reinterpret_cast<const unsigned char*>(a);
  auto* y = reinterpret_cast<const unsigned char*>(b);
  while (*x && *x == *y) ++x, ++y;
  return *x - *y;
}

uint64_t versionMask(const char* v) {
  for (const Row& r : kLadder) {
    if (stcmpr(r.atLeast, v) > 0) continue;
    if (r.only7 && stcmpr("7.z", v) <= 0) continue;
    return r.mask;
  }
  return 0;
}

namespace {

constexpr int kDblist = 26;
constexpr int kVersion = 53;
constexpr uint16_t kDblistBroken = 65535;  // a server that failed to list

}  // namespace

// The first DBLIST is the request (no body); later ones are replies: names,
// each an unsigned length and its text, ended by a length of 0. Every line
// prints also under -min.
void decodeDblist(Run& run, Cursor& cur) {
  if (!run.db.dblistSeen) {
    run.db.dblistSeen = true;
    return;
  }
  std::string name;
  run.em.open("databases", Emit::kList);
  for (uint16_t len = cur.u16(); len != 0; len = cur.u16()) {
    if (len == kDblistBroken) {
      run.em.error("\nERROR: in SQ_DBLIST.\n");
      break;
    }
    int32_t lastPart = gatherText(cur, len, name);
    const char* text = name.c_str();
    int32_t shownLen = len;
    if (convertsRead(run)) {
      int32_t n = docsc(run, name.data(), len);
      if (n > 0) {
        text = run.cs.rubuf.data();
        shownLen = n;
      }
    }
    run.em.field(nullptr, text, "\t\t\"%*.*s\" [%d]\n", shownLen, shownLen, text, shownLen);
    skipPadAfter(cur, lastPart);
  }
  run.em.close();
  run.out.flush();
  run.dec.setReply(kDblist, false);
}

void decodeDbopen(Run& run, Cursor& cur) {
  int16_t len = cur.i16();
  printstring(cur, len, "\t\t", 0, "database");
  int16_t mode = cur.i16();
  if (!run.opt.min)
    run.em.field("mode", mode == 0 ? "NOT EXCLUSIVE" : "EXCLUSIVE", "\t\t%sEXCLUSIVE\n",
                 mode == 0 ? "NOT " : " ");
}

void decodeIsolevel(Run& run, Cursor& cur) {
  int16_t level = cur.i16();
  if (!run.opt.min) run.em.field("level", level, "\t\t%hd\n", level);
}

// The first VERSION is the request; a reply's text always prints. Without an
// internal version the text decides the capabilities in force.
void decodeVersion(Run& run, Cursor& cur) {
  if (!run.db.versionSeen) {
    run.db.versionSeen = true;
    return;
  }
  int16_t len = cur.i16();
  std::string text;
  int32_t lastPart = gatherText(cur, len, text);
  run.em.field("version", text.c_str(), "\t\t\"%*.*s\" [%d]\n", len, len, text.c_str(), len);
  char v[9] = {};
  memcpy(v, text.data(), std::min<size_t>(text.size(), 8));
  _sq_filter(v);
  Capabilities& caps = run.caps;
  if (caps.internalver == 0) {
    caps.protocolver.orLow64(versionMask(v));
    caps.sub_sprotocolver = caps.protocolver;
  }
  skipPadAfter(cur, lastPart);
  run.dec.setReply(kVersion, false);
}

}  // namespace wp
