#include "values/text.h"

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

#include "driver/cursor.h"
#include "driver/run.h"
#include "render/keys.h"
#include "values/codeset.h"

namespace wp {

namespace {

const char kEquals[] =
    "================================================================================\n";

}  // namespace

void printstring(Cursor& cur, int32_t len, const char* label, int force, const char* key) {
  Run& run = cur.run;
  std::string& text = run.textbuf;
  cur.gather(len, text);
  const char* shown = text.c_str();
  int32_t shownLen = len;
  if (convertsRead(run)) {
    int32_t n = docsc(run, text.data(), static_cast<int32_t>(text.size()));
    if (n >= 1) {
      shown = run.cs.rubuf.data();
      shownLen = n;
    }
  }
  if (force == 1 || !run.opt.min) {
    char derived[64];
    if (!key && run.em.json()) key = snakeKey(label, derived, sizeof derived);
    run.em.field(key, shown, "%s \"%s\" [%d]\n", label, shown, shownLen);
  }
  run.out.flush();
  cur.padAfter(len);
}

void hexascii(Output& out, int count, const uint8_t* bytes) {
  int n = count < 16 ? (count > 0 ? count : 0) : 16;
  // A short line's column stands one column further right than a full one's.
  size_t pad = count < 16 ? static_cast<size_t>(17 - count) * 3 : 0;
  char* o = out.reserve(pad + 1 + static_cast<size_t>(n));
  memset(o, ' ', pad);
  o += pad;
  *o++ = '\t';
  for (int i = 0; i < n; ++i)
    o[i] = bytes[i] >= 0x20 && bytes[i] <= 0x7e ? static_cast<char>(bytes[i]) : '.';
  out.commit(pad + 1 + static_cast<size_t>(n));
}

namespace {

// "%#8x: " of a dump offset: 0 has no 0x prefix; right-aligned in 8 places.
size_t dumpOffset(char* o, uint32_t i) {
  static const char kHex[] = "0123456789abcdef";
  char t[10];
  int n = 0;
  for (uint32_t v = i; v; v >>= 4) t[n++] = kHex[v & 15];
  if (i == 0) t[n++] = '0';
  if (i != 0) t[n++] = 'x', t[n++] = '0';
  size_t len = 0;
  for (int pad = 8 - n; pad > 0; --pad) o[len++] = ' ';
  while (n) o[len++] = t[--n];
  o[len++] = ':';
  o[len++] = ' ';
  return len;
}

}  // namespace

// One walk through the packets for both renderings: the listing formats each
// line as it goes, JSON collects the bytes for one hex string.
int32_t hexdump(Cursor& cur, int32_t n, const char* key) {
  Emit& em = cur.run.em;
  const bool json = em.json(), listing = em.listing();
  std::string bytes;
  Output& out = cur.run.out;
  static const char kHex[] = "0123456789abcdef";
  if (listing) {
    out.write(kEquals, sizeof kEquals - 1);
    out.write("HEX DUMP:\n", 10);
  }
  uint8_t line[16];  // bytes of the line being printed (its packet may be gone)
  int col = 0;       // bytes on the current line
  int32_t lastPart = 0;
  for (int32_t i = 0; i < n;) {
    if (cur.left <= 0) {
      if (listing) {
        hexascii(out, col, line);
        out.put('\n');
      }
      while (cur.left <= 0) cur.nextPacket();
      col = 0;
      lastPart = 0;
    }
    // The bytes of this line that lie in this packet, formatted in one go.
    int32_t k = std::min({16 - col, cur.left, n - i});
    const auto& buf = cur.run.rd.packet;
    int32_t real = cur.pos < 0 ? 0 : static_cast<int32_t>(buf.size()) - cur.pos;
    real = std::clamp(real, 0, k);
    if (real > 0) memcpy(line + col, buf.data() + cur.pos, static_cast<size_t>(real));
    if (real < k) memset(line + col + real, 0, static_cast<size_t>(k - real));
    if (json) bytes.append(reinterpret_cast<const char*>(line + col), static_cast<size_t>(k));
    if (listing) {
      char* o = out.reserve(12 + 3 * static_cast<size_t>(k));
      size_t len = col == 0 ? dumpOffset(o, static_cast<uint32_t>(i)) : 0;
      for (int32_t j = 0; j < k; ++j) {
        uint8_t b = line[col + j];
        o[len++] = ' ';
        o[len++] = kHex[b >> 4];
        o[len++] = kHex[b & 15];
      }
      out.commit(len);
    }
    cur.advance(k);
    i += k;
    col += k;
    lastPart += k;
    if (col == 16) {
      if (listing) {
        hexascii(out, 16, line);
        out.put('\n');
      }
      col = 0;
    }
  }
  // The one field the dump is (the listing has shown it already).
  em.also(key, json ? Value::hex(bytes.data(), bytes.size()) : Value());
  if (listing) {
    hexascii(out, col, line);
    out.put('\n');
    out.write(kEquals, sizeof kEquals - 1);
  }
  out.flush();
  return lastPart;
}

namespace {

// -isprint: printable characters as they are, every other byte as a dot.
// Multibyte locales judge whole characters, single-byte ones each byte.
void printPrintable(Output& out, const char* v, int32_t n) {
  std::string line = "\"";
  bool multibyte = MB_CUR_MAX > 1;
  for (int32_t i = 0; i < n;) {
    size_t room = static_cast<size_t>(n - i < 4 ? n - i : 4);
    int clen;
    bool printable = false;
    if (multibyte) {
      mbstate_t st{};
      wchar_t wc = 0;
      size_t r = mbrtowc(&wc, v + i, room, &st);
      clen = r > room ? -1 : static_cast<int>(r);
      printable = clen > 0 && iswprint(static_cast<wint_t>(wc));
    } else {
      clen = v[i] == '\0' ? 0 : 1;
      printable = clen > 0 && isprint(static_cast<unsigned char>(v[i]));
    }
    if (clen <= 0) {
      line += '.';
      ++i;
      continue;
    }
    if (printable)
      line.append(v + i, static_cast<size_t>(clen));
    else
      line.append(static_cast<size_t>(clen), '.');
    i += clen;
  }
  line += "\"\n";
  out.write(line);
}

}  // namespace

void printchar(Cursor& cur, int32_t len, const char* key) {
  Run& run = cur.run;
  if (cur.left <= 0) cur.nextPacket();
  // The value whole, from the packets that hold it.
  std::string& wire = run.textbuf;
  // Where each packet's part begins matters only when a conversion can make
  // the count differ from the wire length.
  std::vector<int32_t> starts;
  int32_t lastPart = cur.gather(len, wire, convertsRead(run) ? &starts : nullptr);
  const char* value = wire.c_str();
  auto have = static_cast<int32_t>(wire.size());
  int32_t shownLen = len;
  if (have > 0 && convertsRead(run)) {
    int32_t n = docsc(run, value, have);
    if (n >= 1) {
      value = run.cs.rubuf.data();
      have = shownLen = n;
    }
  }
  int32_t count;
  if (run.opt.isprint_flag) {
    // JSON escapes what is not printable itself: the value as it is.
    if (run.em.json())
      run.em.also(key, std::string_view(value, static_cast<size_t>(have)));
    else
      run.em.also(key, Value());
    if (run.em.listing()) printPrintable(run.out, value, have);
    count = len;
  } else {
    run.em.field(key, value, "\"%s\" [%hd]\n", value, static_cast<int16_t>(shownLen));
    count = shownLen;  // a converted text moves the position by its own length
  }
  run.out.flush();
  // The position moves by the count from the value's start; a negative one
  // moves nothing. Only the part of the count in its last packet decides the
  // pad byte.
  auto moved = static_cast<int32_t>(wire.size());
  int32_t target = count > 0 ? count : 0;
  if (target > moved) {
    int32_t extra = target - moved;
    if (extra <= cur.left) {
      cur.advance(extra);
      lastPart += extra;
    } else {
      lastPart = cur.skipField(extra);
    }
  } else if (target < moved) {
    int32_t back = moved - target;
    if (back < lastPart) {
      cur.advance(-back);
      lastPart -= back;
    } else {
      // The count ends in an earlier packet: the value's bytes after it are
      // read again, in front of the rest of this packet.
      cur.advance(-lastPart);
      int32_t from = 0;
      for (int32_t s : starts)
        if (s < target) from = s;
      cur.unread(reinterpret_cast<const uint8_t*>(wire.data()) + target, moved - lastPart - target);
      lastPart = target - from;
    }
  }
  cur.padAfter(lastPart);
}

}  // namespace wp
