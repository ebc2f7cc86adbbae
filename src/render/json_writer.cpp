// The escaping JSON writer of the -json rendering.
#include "render/json_writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace wp {

namespace {

const char kHex[] = "0123456789abcdef";

// Bytes that stand in a JSON string as they are: printable ASCII but the
// quote and the backslash.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> t{};
  for (int c = 0x20; c < 0x7f; ++c) t[static_cast<size_t>(c)] = c != '"' && c != '\\';
  return t;
}();

// True when none of the eight bytes at p needs escaping (one test for a
// word of plain text instead of eight).
inline bool plain8(const uint8_t* p) {
  uint64_t x;
  memcpy(&x, p, 8);
  constexpr uint64_t k1 = 0x0101010101010101ULL, kTop = k1 * 0x80;
  auto hasZero = [](uint64_t v) { return (v - k1) & ~v & kTop; };
  uint64_t odd = ((x - k1 * 0x20) & ~x & kTop)  // a control character
                 | (x & kTop)                   // a byte of 0x80 and up
                 | hasZero(x ^ (k1 * 0x7f)) | hasZero(x ^ (k1 * '"')) | hasZero(x ^ (k1 * '\\'));
  return odd == 0;
}

// Length of the valid UTF-8 sequence at p (n bytes available), or 0 when the
// bytes there are not one (overlong forms and surrogates are not valid).
size_t utf8Length(const uint8_t* p, size_t n) {
  uint8_t c = p[0];
  size_t len;
  uint32_t min;
  if (c >= 0xc2 && c <= 0xdf) {
    len = 2, min = 0x80;
  } else if (c >= 0xe0 && c <= 0xef) {
    len = 3, min = 0x800;
  } else if (c >= 0xf0 && c <= 0xf4) {
    len = 4, min = 0x10000;
  } else {
    return 0;
  }
  if (n < len) return 0;
  uint32_t cp = c & (0x7f >> len);
  for (size_t i = 1; i < len; ++i) {
    if ((p[i] & 0xc0) != 0x80) return 0;
    cp = cp << 6 | (p[i] & 0x3f);
  }
  if (cp < min || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) return 0;
  return len;
}

// The escape of one byte that is not plain and not part of a UTF-8
// sequence; returns its length (at most 6).
size_t escape(char* o, uint8_t c) {
  char short_ = 0;
  switch (c) {
    case '"':
      short_ = '"';
      break;
    case '\\':
      short_ = '\\';
      break;
    case '\n':
      short_ = 'n';
      break;
    case '\t':
      short_ = 't';
      break;
    case '\r':
      short_ = 'r';
      break;
    default:  // other control characters, DEL, and bytes that are not UTF-8
      o[0] = '\\', o[1] = 'u', o[2] = '0', o[3] = '0', o[4] = kHex[c >> 4], o[5] = kHex[c & 15];
      return 6;
  }
  o[0] = '\\', o[1] = short_;
  return 2;
}

}  // namespace

void JsonWriter::grow(size_t n) {
  size_t cap = std::max({cap_ * 2, len_ + n, size_t{256}});
  std::unique_ptr<char[]> bigger(new char[cap]);
  if (len_) memcpy(bigger.get(), buf_.get(), len_);
  buf_ = std::move(bigger);
  cap_ = cap;
}

bool JsonWriter::comma() {
  uint8_t& st = open_.back();
  bool before = !(st & kFirst);
  st = static_cast<uint8_t>(st & ~kFirst);
  return before;
}

// Keys are the program's own snake_case words: written as they are.
char* JsonWriter::keyAt(char* o, const char* k) {
  if (comma()) *o++ = ',';
  if ((open_.back() & kArray) || !k) return o;
  *o++ = '"';
  // Four bytes a step (kMaxKey is a multiple of four).
  const char* end = k + kMaxKey;
  for (; k != end; k += 4, o += 4) {
    if (!(o[0] = k[0])) break;
    if (!(o[1] = k[1])) {
      o += 1;
      break;
    }
    if (!(o[2] = k[2])) {
      o += 2;
      break;
    }
    if (!(o[3] = k[3])) {
      o += 3;
      break;
    }
  }
  *o++ = '"';
  *o++ = ':';
  return o;
}

void JsonWriter::key(const char* k) {
  if (open_.empty()) return;
  len_ = static_cast<size_t>(keyAt(room(kKeyRoom), k) - buf_.get());
}

namespace {

// An integer's digits at o (room for 20); returns where they end. Most are
// counts and lengths of one or two digits.
char* integerAt(char* o, int64_t v) {
  if (static_cast<uint64_t>(v) < 10) {
    *o = static_cast<char>('0' + v);
    return o + 1;
  }
  if (static_cast<uint64_t>(v) < 100) {
    o[0] = static_cast<char>('0' + v / 10);
    o[1] = static_cast<char>('0' + v % 10);
    return o + 2;
  }
  return std::to_chars(o, o + 20, v).ptr;
}

}  // namespace

void JsonWriter::field(const char* k, const Value& v) {
  if (v.kind == Value::kInt && !open_.empty()) {  // the most common member
    char* o = keyAt(room(kKeyRoom + 20), k);
    len_ = static_cast<size_t>(integerAt(o, v.i) - buf_.get());
    return;
  }
  key(k);
  value(v);
}

void JsonWriter::beginObject(const char* k) {
  key(k);
  *room(1) = '{';
  ++len_;
  open_.push_back(kFirst);
}

void JsonWriter::beginArray(const char* k) {
  key(k);
  *room(1) = '[';
  ++len_;
  open_.push_back(kFirst | kArray);
}

void JsonWriter::end() {
  if (open_.empty()) return;
  *room(1) = (open_.back() & kArray) ? ']' : '}';
  ++len_;
  open_.pop_back();
}

void JsonWriter::endLine() {
  char* o = room(open_.size() + 1);
  for (size_t i = open_.size(); i > 0; --i) *o++ = (open_[i - 1] & kArray) ? ']' : '}';
  *o++ = '\n';
  len_ = static_cast<size_t>(o - buf_.get());
  open_.clear();
}

void JsonWriter::escaped(const uint8_t* p, size_t n) {
  // Room for the bytes as they are; an escape makes more.
  char* o = room(n);
  size_t i = 0;
  while (i < n) {
    if (n - i >= 8 && plain8(p + i)) {
      memcpy(o, p + i, 8);
      o += 8;
      i += 8;
      continue;
    }
    // A word with something else in it: its bytes one by one.
    size_t stop = std::min(n, i + 8);
    while (i < stop) {
      uint8_t c = p[i];
      if (kPlain[c]) {
        *o++ = static_cast<char>(c);
        ++i;
        continue;
      }
      size_t len = c >= 0x80 ? utf8Length(p + i, n - i) : 0;
      if (len) {  // a UTF-8 character: its bytes as they are
        for (size_t k = 0; k < len; ++k) o[k] = static_cast<char>(p[i + k]);
        o += len;
        i += len;
        continue;
      }
      // One byte becomes up to six: room for them and the rest.
      len_ = static_cast<size_t>(o - buf_.get());
      o = room(n - i + 6);
      o += escape(o, c);
      ++i;
    }
  }
  len_ = static_cast<size_t>(o - buf_.get());
}

void JsonWriter::string(const char* s, size_t n) {
  *room(1) = '"';
  ++len_;
  escaped(reinterpret_cast<const uint8_t*>(s), n);
  *room(1) = '"';
  ++len_;
}

// Plain bytes are copied while the end is looked for; the first other byte
// hands the rest to the counted form.
void JsonWriter::string(const char* s) {
  auto p = reinterpret_cast<const uint8_t*>(s);
  *room(1) = '"';
  ++len_;
  for (;;) {
    char* o = room(33);  // 32 bytes and the closing quote
    size_t k = 0;
    while (k < 32 && kPlain[p[k]]) {  // the NUL is not plain
      o[k] = static_cast<char>(p[k]);
      ++k;
    }
    len_ += k;
    p += k;
    if (k < 32) break;
  }
  if (*p) escaped(p, strlen(reinterpret_cast<const char*>(p)));
  *room(1) = '"';
  ++len_;
}

void JsonWriter::number(int64_t v) {
  len_ = static_cast<size_t>(integerAt(room(20), v) - buf_.get());
}

// The shortest text that reads back as the same double; JSON has no NaN or
// infinity, so those are the strings printf would show.
void JsonWriter::number(double v) {
  if (!std::isfinite(v)) {
    const char* s = std::isnan(v) ? "\"nan\"" : (v > 0 ? "\"inf\"" : "\"-inf\"");
    raw(s, strlen(s));
    return;
  }
  // Plain decimals while they stay short (time stamps are not 1.7e+09).
  char t[64];
  double a = std::fabs(v);
  bool plain = a < 1e16 && (a == 0 || a >= 1e-6);
  auto r = std::to_chars(t, t + sizeof t, v,
                         plain ? std::chars_format::fixed : std::chars_format::general);
  if (r.ec != std::errc()) r = std::to_chars(t, t + sizeof t, v);
  raw(t, static_cast<size_t>(r.ptr - t));
}

void JsonWriter::hex(const uint8_t* p, size_t n) {
  char* o = room(2 * n + 2);
  *o++ = '"';
  for (size_t i = 0; i < n; ++i) {
    *o++ = kHex[p[i] >> 4];
    *o++ = kHex[p[i] & 15];
  }
  *o++ = '"';
  len_ += 2 * n + 2;
}

void JsonWriter::value(const Value& v) {
  switch (v.kind) {
    case Value::kNull:
      raw("null", 4);
      break;
    case Value::kInt:
      number(v.i);
      break;
    case Value::kReal:
      number(v.d);
      break;
    case Value::kText:
      if (v.n == Value::kUntilNul)
        string(static_cast<const char*>(v.p));
      else
        string(static_cast<const char*>(v.p), v.n);
      break;
    case Value::kHex:
      hex(static_cast<const uint8_t*>(v.p), v.n);
      break;
    case Value::kNames: {
      auto names = static_cast<const char* const*>(v.p);
      raw("[", 1);
      for (size_t i = 0; i < v.n; ++i) {
        if (i) raw(",", 1);
        string(names[i]);
      }
      raw("]", 1);
      break;
    }
  }
}

}  // namespace wp
