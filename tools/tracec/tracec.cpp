#include "tracec.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "driver/msgtable.h"

namespace tracec {

namespace {

struct Token {
  std::string text;
  bool quoted = false;
  int line = 0;
};

struct Error : std::runtime_error {
  int line;
  Error(int l, const std::string& m) : std::runtime_error(m), line(l) {}
};

std::vector<Token> tokenize(const std::string& s) {
  std::vector<Token> out;
  int line = 1;
  size_t i = 0;
  while (i < s.size()) {
    char c = s[i];
    if (c == '\n') {
      ++line;
      ++i;
    } else if (isspace(static_cast<unsigned char>(c))) {
      ++i;
    } else if (c == '#') {
      while (i < s.size() && s[i] != '\n') ++i;
    } else if (c == '"') {
      Token t{"", true, line};
      ++i;
      while (i < s.size() && s[i] != '"') {
        char d = s[i++];
        if (d == '\n') throw Error(line, "string not closed");
        if (d != '\\') {
          t.text += d;
          continue;
        }
        if (i >= s.size()) throw Error(line, "string not closed");
        char e = s[i++];
        switch (e) {
          case 't':
            t.text += '\t';
            break;
          case 'n':
            t.text += '\n';
            break;
          case 'r':
            t.text += '\r';
            break;
          case '0':
            t.text += '\0';
            break;
          case '\\':
            t.text += '\\';
            break;
          case '"':
            t.text += '"';
            break;
          case 'x': {
            if (i + 2 > s.size() || !isxdigit(static_cast<unsigned char>(s[i])) ||
                !isxdigit(static_cast<unsigned char>(s[i + 1])))
              throw Error(line, "\\x needs two hex digits");
            t.text += static_cast<char>(std::stoi(s.substr(i, 2), nullptr, 16));
            i += 2;
            break;
          }
          default:
            throw Error(line, std::string("unknown escape \\") + e);
        }
      }
      if (i >= s.size()) throw Error(line, "string not closed");
      ++i;
      out.push_back(t);
    } else if (c == '{' || c == '}') {
      out.push_back({std::string(1, c), false, line});
      ++i;
    } else {
      Token t{"", false, line};
      while (i < s.size() && !isspace(static_cast<unsigned char>(s[i])) && s[i] != '{' &&
             s[i] != '}' && s[i] != '"' && s[i] != '#')
        t.text += s[i++];
      out.push_back(t);
    }
  }
  return out;
}

class Compiler {
 public:
  explicit Compiler(std::vector<Token> t) : toks_(std::move(t)) {}

  std::vector<uint8_t> run() {
    while (pos_ < toks_.size()) topItem();
    return out_;
  }

 private:
  const Token& peek() const {
    if (pos_ >= toks_.size()) throw Error(toks_.empty() ? 0 : toks_.back().line, "unexpected end");
    return toks_[pos_];
  }
  const Token& next() {
    const Token& t = peek();
    ++pos_;
    return t;
  }
  int line() const { return pos_ < toks_.size() ? toks_[pos_].line : 0; }

  long long integer(const Token& t) {
    if (t.quoted) throw Error(t.line, "number expected, got a string");
    char* end = nullptr;
    errno = 0;
    long long v = strtoll(t.text.c_str(), &end, 0);
    if (errno == ERANGE) {
      // Allow unsigned 64-bit spellings such as 0xffffffffffffffff.
      errno = 0;
      v = static_cast<long long>(strtoull(t.text.c_str(), &end, 0));
    }
    if (t.text.empty() || *end || errno) throw Error(t.line, "bad number '" + t.text + "'");
    return v;
  }
  double real(const std::string& s, int ln) {
    char* end = nullptr;
    double v = strtod(s.c_str(), &end);
    if (s.empty() || *end) throw Error(ln, "bad number '" + s + "'");
    return v;
  }
  std::string string(const Token& t) {
    if (!t.quoted) throw Error(t.line, "string expected");
    return t.text;
  }

  static void be(std::vector<uint8_t>& o, uint64_t v, int n) {
    for (int i = n - 1; i >= 0; --i) o.push_back(static_cast<uint8_t>(v >> (8 * i)));
  }
  static void raw(std::vector<uint8_t>& o, const void* p, size_t n, bool reverse) {
    auto* b = static_cast<const uint8_t*>(p);
    for (size_t i = 0; i < n; ++i) o.push_back(b[reverse ? n - 1 - i : i]);
  }

  int messageType(const Token& t) {
    if (!t.text.empty() && isdigit(static_cast<unsigned char>(t.text[0])))
      return static_cast<int>(integer(t));
    for (int i = 1; i < wp::kNumTypes; ++i)
      if (t.text == wp::kMessages[i].name) return i;
    throw Error(t.line, "unknown message type '" + t.text + "'");
  }

  // One data item into o; `start` is where the record's data begins.
  void dataItem(std::vector<uint8_t>& o, size_t start) {
    const Token& t = next();
    const std::string& w = t.text;
    if (t.quoted) throw Error(t.line, "item expected, got a string");
    if (w == "msg") {
      be(o, static_cast<uint16_t>(messageType(next())), 2);
    } else if (w == "short") {
      be(o, static_cast<uint64_t>(integer(next())), 2);
    } else if (w == "long") {
      be(o, static_cast<uint64_t>(integer(next())), 4);
    } else if (w == "bigint") {
      be(o, static_cast<uint64_t>(integer(next())), 8);
    } else if (w == "byte") {
      while (pos_ < toks_.size() && !peek().quoted && !peek().text.empty() &&
             (isdigit(static_cast<unsigned char>(peek().text[0])) || peek().text[0] == '-'))
        o.push_back(static_cast<uint8_t>(integer(next())));
    } else if (w == "int8") {
      long long v = integer(next());
      unsigned long long mag = v < 0 ? 0ULL - static_cast<unsigned long long>(v) : v;
      be(o, v < 0 ? 0xffff : 1, 2);
      be(o, mag >> 32, 4);
      be(o, mag & 0xffffffffULL, 4);
    } else if (w == "double" || w == "double-le") {
      double d = real(next().text, t.line);
      raw(o, &d, 8, w == "double");
    } else if (w == "float" || w == "float-le") {
      float f = static_cast<float>(real(next().text, t.line));
      raw(o, &f, 4, w == "float");
    } else if (w == "hex") {
      while (pos_ < toks_.size() && !peek().quoted && isHex(peek().text)) {
        const std::string& h = next().text;
        for (size_t i = 0; i < h.size(); i += 2)
          o.push_back(static_cast<uint8_t>(std::stoi(h.substr(i, 2), nullptr, 16)));
      }
    } else if (w == "text" || w == "cstr") {
      std::string s = string(next());
      o.insert(o.end(), s.begin(), s.end());
      if (w == "cstr") o.push_back(0);
    } else if (w == "str" || w == "lstr") {
      std::string s = string(next());
      be(o, s.size(), w == "str" ? 2 : 4);
      o.insert(o.end(), s.begin(), s.end());
      if (s.size() & 1) o.push_back(0);
    } else if (w == "zeros") {
      long long n = integer(next());
      if (n < 0 || n > (1 << 28)) throw Error(t.line, "zeros: bad count");
      o.insert(o.end(), static_cast<size_t>(n), 0);
    } else if (w == "pad") {
      o.push_back(0);
    } else if (w == "align") {
      if ((o.size() - start) & 1) o.push_back(0);
    } else if (w == "repeat") {
      long long n = integer(next());
      if (next().text != "{") throw Error(t.line, "repeat: '{' expected");
      size_t body = pos_;
      for (long long k = 0; k < (n > 0 ? n : 1); ++k) {
        pos_ = body;
        std::vector<uint8_t> once;
        while (peek().quoted || peek().text != "}") dataItem(once, start);
        if (k < n) o.insert(o.end(), once.begin(), once.end());
      }
      next();
    } else {
      throw Error(t.line, "unknown item '" + w + "'");
    }
  }

  static bool isHex(const std::string& s) {
    if (s.empty() || s.size() % 2) return false;
    for (char c : s)
      if (!isxdigit(static_cast<unsigned char>(c))) return false;
    return true;
  }

  static bool isCode(const Token& t) {
    return !t.quoted && t.text.size() == 2 && isupper(static_cast<unsigned char>(t.text[0])) &&
           isupper(static_cast<unsigned char>(t.text[1]));
  }

  void timeStamp(const std::string& s, int ln) {
    if (s.rfind("be:", 0) == 0) {
      lastTime_ = real(s.substr(3), ln);
      raw(out_, &lastTime_, 8, true);
    } else if (s.rfind("dec:", 0) == 0) {
      size_t colon = s.find(':', 4);
      if (colon == std::string::npos) throw Error(ln, "dec:SECONDS:MICROSECONDS expected");
      Token a{s.substr(4, colon - 4), false, ln}, b{s.substr(colon + 1), false, ln};
      be(out_, static_cast<uint64_t>(integer(a)), 4);
      be(out_, static_cast<uint64_t>(integer(b)), 4);
    } else if (s.rfind("raw:", 0) == 0) {
      std::string h = s.substr(4);
      if (h.size() != 16 || !isHex(h)) throw Error(ln, "raw: needs 16 hex digits");
      for (size_t i = 0; i < 16; i += 2)
        out_.push_back(static_cast<uint8_t>(std::stoi(h.substr(i, 2), nullptr, 16)));
    } else {
      lastTime_ = real(s, ln);
      raw(out_, &lastTime_, 8, false);
    }
  }

  void topItem() {
    const Token& t = peek();
    if (!t.quoted && t.text == "header") {
      next();
      out_.insert(out_.end(), {'S', 'Q', 'L', 'I'});
      be(out_, static_cast<uint64_t>(integer(next())), 4);
      if (pos_ < toks_.size() && !peek().quoted && peek().text == "internal") {
        next();
        be(out_, 110, 2);
        be(out_, static_cast<uint64_t>(integer(next())), 2);
      }
      return;
    }
    if (!isCode(t)) {
      dataItem(out_, out_.size());
      return;
    }
    std::string code = next().text;
    out_.push_back(static_cast<uint8_t>(code[0]));
    out_.push_back(static_cast<uint8_t>(code[1]));
    if (code == "CF" || code == "SF") {
      be(out_, static_cast<uint64_t>(integer(next())), 4);
      be(out_, 0, 4);
      return;
    }
    if (code == "MT") {
      std::string a = string(next());
      if (a.size() > 8) throw Error(t.line, "MT: at most 8 characters");
      a.resize(8, '\0');
      out_.insert(out_.end(), a.begin(), a.end());
      return;
    }
    bool hasLen = false;
    long long len = 0;
    if (!peek().quoted && peek().text.rfind("len=", 0) == 0) {
      Token l = next();
      l.text = l.text.substr(4);
      len = integer(l);
      hasLen = true;
    }
    if (peek().quoted || peek().text != "{") {
      Token ts = next();
      size_t lenAt = out_.size();
      be(out_, 0, 4);
      timeStamp(ts.text, ts.line);
      body(lenAt, hasLen, len);
    } else {
      size_t lenAt = out_.size();
      be(out_, 0, 4);
      lastTime_ += 1.0;
      raw(out_, &lastTime_, 8, false);
      body(lenAt, hasLen, len);
    }
  }

  void body(size_t lenAt, bool hasLen, long long len) {
    int ln = line();
    if (next().text != "{") throw Error(ln, "'{' expected after the record's time stamp");
    size_t start = out_.size();
    while (peek().quoted || peek().text != "}") dataItem(out_, start);
    next();
    uint64_t n = hasLen ? static_cast<uint64_t>(len) : out_.size() - start;
    for (int i = 0; i < 4; ++i) out_[lenAt + i] = static_cast<uint8_t>(n >> (8 * (3 - i)));
  }

  std::vector<Token> toks_;
  size_t pos_ = 0;
  std::vector<uint8_t> out_;
  double lastTime_ = 1700000000.0;
};

}  // namespace

Result compile(const std::string& text) {
  Result r;
  try {
    r.bytes = Compiler(tokenize(text)).run();
  } catch (const Error& e) {
    r.error = "line " + std::to_string(e.line) + ": " + e.what();
    r.bytes.clear();
  }
  return r;
}

}  // namespace tracec
