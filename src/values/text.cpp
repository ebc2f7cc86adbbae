#include "values/text.h"

#include <cstring>
#include <string>

#include "driver/cursor.h"
#include "driver/run.h"
#include "values/codeset.h"

namespace wp {

namespace {

const char kEquals[] =
    "================================================================================\n";

// The pad byte after an odd text: when the packet is used up, it is the first
// byte of the next one.
void skipPad(Cursor& cur) {
  if (cur.left <= 0) cur.nextPacket();
  cur.advance(1);
}

}  // namespace

void printstring(Cursor& cur, int32_t len, const char* label, int force) {
  Run& run = cur.run;
  std::string& text = run.textbuf;
  text.clear();
  // The text grows as its bytes arrive, so a wild length cannot allocate
  // beyond what the trace holds.
  for (int32_t want = len; want > 0;) {
    if (cur.left <= 0) cur.nextPacket();
    if (cur.left <= 0) continue;
    int32_t k = want < cur.left ? want : cur.left;
    text.append(reinterpret_cast<const char*>(cur.ptr()), static_cast<size_t>(k));
    cur.advance(k);
    want -= k;
  }
  const char* shown = text.c_str();
  int32_t shownLen = len;
  if (convertsRead(run)) {
    int32_t n = docsc(run, text.data(), static_cast<int32_t>(text.size()));
    if (n >= 1) {
      shown = run.cs.rubuf.data();
      shownLen = n;
    }
  }
  if (force == 1 || !run.opt.min) run.out.printf("%s \"%s\" [%d]\n", label, shown, shownLen);
  run.out.flush();
  if (len & 1) skipPad(cur);
}

void hexascii(Output& out, int count, const uint8_t* bytes) {
  // A short line's column stands one column further right than a full one's.
  if (count < 16) {
    size_t pad = static_cast<size_t>(17 - count) * 3;
    memset(out.reserve(pad), ' ', pad);
    out.commit(pad);
  }
  out.put('\t');
  char chars[16];
  int n = count < 16 ? count : 16;
  for (int i = 0; i < n; ++i)
    chars[i] = bytes[i] >= 0x20 && bytes[i] <= 0x7e ? static_cast<char>(bytes[i]) : '.';
  out.write(chars, static_cast<size_t>(n));
}

void hexdump(Cursor& cur, int32_t n) {
  Output& out = cur.run.out;
  static const char kHex[] = "0123456789abcdef";
  out.write(kEquals, sizeof kEquals - 1);
  out.write("HEX DUMP:\n", 10);
  uint8_t line[16];  // bytes of the line being printed (its packet may be gone)
  int col = 0;       // bytes on the current line
  for (int32_t i = 0; i < n; ++i) {
    if (cur.left <= 0) {
      hexascii(out, col, line);
      out.put('\n');
      while (cur.left <= 0) cur.nextPacket();
      col = 0;
    }
    if (col == 0) out.printf("%#8x: ", static_cast<unsigned>(i));
    uint8_t b = *cur.ptr();
    cur.advance(1);
    char hx[3] = {' ', kHex[b >> 4], kHex[b & 15]};
    out.write(hx, 3);
    line[col++] = b;
    if (col == 16) {
      hexascii(out, 16, line);
      out.put('\n');
      col = 0;
    }
  }
  hexascii(out, col, line);
  out.put('\n');
  out.write(kEquals, sizeof kEquals - 1);
  out.flush();
  if (n & 1) cur.advance(1);
}

// Not built yet: the raw bytes in quotes with their length.
void printchar(Cursor& cur, int32_t len) {
  Run& run = cur.run;
  std::string& text = run.textbuf;
  text.clear();
  for (int32_t want = len; want > 0;) {
    if (cur.left <= 0) cur.nextPacket();
    if (cur.left <= 0) continue;
    int32_t k = want < cur.left ? want : cur.left;
    text.append(reinterpret_cast<const char*>(cur.ptr()), static_cast<size_t>(k));
    cur.advance(k);
    want -= k;
  }
  run.out.printf("\"%s\" [%hd]\n", text.c_str(), static_cast<int16_t>(len));
  run.out.flush();
  if (len & 1) cur.advance(1);
}

}  // namespace wp
