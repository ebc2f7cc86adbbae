// The escaping JSON writer of the -json rendering.
#include "render/json_writer.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace wp {

namespace {

const char kHex[] = "0123456789abcdef";

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

void escapeByte(std::string& out, uint8_t b) {
  char e[6] = {'\\', 'u', '0', '0', kHex[b >> 4], kHex[b & 15]};
  out.append(e, 6);
}

}  // namespace

void jsonString(std::string& out, const char* s, size_t n) {
  auto p = reinterpret_cast<const uint8_t*>(s);
  out += '"';
  size_t i = 0;
  while (i < n) {
    // A run of plain printable ASCII goes in one append.
    size_t j = i;
    while (j < n && p[j] >= 0x20 && p[j] < 0x7f && p[j] != '"' && p[j] != '\\') ++j;
    out.append(s + i, j - i);
    i = j;
    if (i >= n) break;
    uint8_t c = p[i];
    switch (c) {
      case '"':
        out += "\\\"";
        ++i;
        continue;
      case '\\':
        out += "\\\\";
        ++i;
        continue;
      case '\n':
        out += "\\n";
        ++i;
        continue;
      case '\t':
        out += "\\t";
        ++i;
        continue;
      case '\r':
        out += "\\r";
        ++i;
        continue;
      default:
        break;
    }
    if (c < 0x80) {  // other control characters and DEL
      escapeByte(out, c);
      ++i;
      continue;
    }
    size_t len = utf8Length(p + i, n - i);
    if (len == 0) {  // not UTF-8: the byte as the Latin-1 character of its value
      escapeByte(out, c);
      ++i;
      continue;
    }
    out.append(s + i, len);
    i += len;
  }
  out += '"';
}

// Keys are the program's own snake_case words: written as they are, with
// the comma before them, in one append.
void JsonWriter::key(const char* k) {
  if (open_.empty()) return;
  uint8_t& st = open_.back();
  bool comma = !(st & kFirst);
  st = static_cast<uint8_t>(st & ~kFirst);
  if ((st & kArray) || !k) {
    if (comma) buf_ += ',';
    return;
  }
  char t[72];
  size_t n = strlen(k);
  if (n > sizeof t - 4) n = sizeof t - 4;
  size_t len = 0;
  if (comma) t[len++] = ',';
  t[len++] = '"';
  memcpy(t + len, k, n);
  len += n;
  t[len++] = '"';
  t[len++] = ':';
  buf_.append(t, len);
}

void JsonWriter::open(const char* k, char c, bool array) {
  key(k);
  buf_ += c;
  open_.push_back(static_cast<uint8_t>(kFirst | (array ? kArray : 0)));
}

void JsonWriter::beginObject(const char* k) {
  open(k, '{', false);
}

void JsonWriter::beginArray(const char* k) {
  open(k, '[', true);
}

void JsonWriter::end() {
  if (open_.empty()) return;
  buf_ += (open_.back() & kArray) ? ']' : '}';
  open_.pop_back();
}

void JsonWriter::string(const char* s, size_t n) {
  jsonString(buf_, s, n);
}

void JsonWriter::number(int64_t v) {
  char t[24];
  auto r = std::to_chars(t, t + sizeof t, v);
  buf_.append(t, r.ptr);
}

// The shortest text that reads back as the same double; JSON has no NaN or
// infinity, so those are the strings printf would show.
void JsonWriter::number(double v) {
  if (!std::isfinite(v)) {
    buf_ += std::isnan(v) ? "\"nan\"" : (v > 0 ? "\"inf\"" : "\"-inf\"");
    return;
  }
  // Plain decimals while they stay short (time stamps are not 1.7e+09).
  char t[64];
  double a = std::fabs(v);
  bool plain = a < 1e16 && (a == 0 || a >= 1e-6);
  auto r = std::to_chars(t, t + sizeof t, v,
                         plain ? std::chars_format::fixed : std::chars_format::general);
  if (r.ec != std::errc()) r = std::to_chars(t, t + sizeof t, v);
  buf_.append(t, r.ptr);
}

void JsonWriter::hex(const uint8_t* p, size_t n) {
  buf_ += '"';
  size_t at = buf_.size();
  buf_.resize(at + 2 * n);
  for (size_t i = 0; i < n; ++i) {
    buf_[at + 2 * i] = kHex[p[i] >> 4];
    buf_[at + 2 * i + 1] = kHex[p[i] & 15];
  }
  buf_ += '"';
}

void JsonWriter::value(const Value& v) {
  switch (v.kind) {
    case Value::kNull:
      buf_ += "null";
      break;
    case Value::kInt:
      number(v.i);
      break;
    case Value::kReal:
      number(v.d);
      break;
    case Value::kText: {
      auto s = static_cast<const char*>(v.p);
      string(s, v.n == Value::kUntilNul ? std::char_traits<char>::length(s) : v.n);
      break;
    }
    case Value::kHex:
      hex(static_cast<const uint8_t*>(v.p), v.n);
      break;
    case Value::kNames: {
      auto names = static_cast<const char* const*>(v.p);
      buf_ += '[';
      for (size_t i = 0; i < v.n; ++i) {
        if (i) buf_ += ',';
        jsonString(buf_, names[i], std::char_traits<char>::length(names[i]));
      }
      buf_ += ']';
      break;
    }
  }
}

}  // namespace wp
