#include "values/textforms.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace wp {

int int8tostr(const Int8* rec, char* buf, int size, int base) {
  if (rec->sign == 0) return kTextNull;
  uint64_t mag = uint64_t{static_cast<uint32_t>(rec->hi)} << 32 | static_cast<uint32_t>(rec->lo);
  if (mag > uint64_t{INT64_MAX}) return kTextRange;
  char tmp[80];
  bool neg = rec->sign < 0 && mag != 0;
  int n = base == 16 ? snprintf(tmp, sizeof tmp, "%s%llx", neg ? "-" : "",
                                static_cast<unsigned long long>(mag))
                     : snprintf(tmp, sizeof tmp, "%s%llu", neg ? "-" : "",
                                static_cast<unsigned long long>(mag));
  if (n < 0 || n >= size) return kTextTooLong;
  memcpy(buf, tmp, static_cast<size_t>(n) + 1);
  return 0;
}

namespace {

// The decimal digits of a value with its point: `whole` before it, `frac`
// after it, both as the base-100 digits give them (no leading zeros dropped).
struct DecimalDigits {
  std::string whole, frac;
};

bool splitDigits(const Decimal& rec, DecimalDigits& out) {
  std::string d;
  for (int i = 0; i < rec.ndgts && i < 16; ++i) {
    if (rec.dgts[i] > 99) return false;
    d += static_cast<char>('0' + rec.dgts[i] / 10);
    d += static_cast<char>('0' + rec.dgts[i] % 10);
  }
  if (d.find_first_not_of('0') == std::string::npos) {
    out = {"0", ""};  // zero carries no scale
    return true;
  }
  // Each base-100 exponent step is two decimal places.
  long point = 2L * rec.exp;
  long size = static_cast<long>(d.size());
  if (point <= 0) {
    out = {"", std::string(static_cast<size_t>(-point), '0') + d};
  } else if (point >= size) {
    out = {d + std::string(static_cast<size_t>(point - size), '0'), ""};
  } else {
    out = {d.substr(0, static_cast<size_t>(point)), d.substr(static_cast<size_t>(point))};
  }
  return true;
}

// Rounds half away from zero to `right` decimals, or pads with zeros.
void roundTo(DecimalDigits& v, int right) {
  size_t r = static_cast<size_t>(right);
  if (v.frac.size() <= r) {
    v.frac.append(r - v.frac.size(), '0');
    return;
  }
  bool up = v.frac[r] >= '5';
  v.frac.resize(r);
  if (!up) return;
  std::string all = v.whole + v.frac;
  long i = static_cast<long>(all.size()) - 1;
  while (i >= 0 && all[static_cast<size_t>(i)] == '9') all[static_cast<size_t>(i--)] = '0';
  if (i < 0)
    all.insert(0, 1, '1');
  else
    ++all[static_cast<size_t>(i)];
  v.whole = all.substr(0, all.size() - r);
  v.frac = all.substr(all.size() - r);
}

std::string fixedForm(bool neg, const DecimalDigits& v) {
  size_t lead = v.whole.find_first_not_of('0');
  std::string text = neg ? "-" : "";
  text += lead == std::string::npos ? "0" : v.whole.substr(lead);
  if (!v.frac.empty()) text.append(".").append(v.frac);
  return text;
}

// d.ddde+XX from the significant digits; v is not zero.
std::string scientificForm(bool neg, const DecimalDigits& v) {
  std::string all = v.whole + v.frac;
  size_t lead = all.find_first_not_of('0');
  size_t last = all.find_last_not_of('0');
  long exp10 = static_cast<long>(v.whole.size()) - 1 - static_cast<long>(lead);
  std::string text = neg ? "-" : "";
  text += all[lead];
  if (last > lead) text.append(".").append(all, lead + 1, last - lead);
  char e[24];
  snprintf(e, sizeof e, "e%c%02ld", exp10 < 0 ? '-' : '+', exp10 < 0 ? -exp10 : exp10);
  return text + e;
}

}  // namespace

int dectoasc(const Decimal* rec, char* buf, int len, int right) {
  if (len <= 0) return kTextTooLong;
  std::string text;  // NULL prints as nothing
  if (rec->sign != -1) {
    DecimalDigits v;
    if (!splitDigits(*rec, v)) return kTextBadValue;
    if (right >= 0) roundTo(v, right);
    bool nonzero = (v.whole + v.frac).find_first_not_of('0') != std::string::npos;
    bool neg = rec->sign == 0 && nonzero;
    text = fixedForm(neg, v);
    if (text.size() > static_cast<size_t>(len) && nonzero) text = scientificForm(neg, v);
    if (text.size() > static_cast<size_t>(len)) return kTextTooLong;
  }
  memcpy(buf, text.data(), text.size());
  memset(buf + text.size(), ' ', static_cast<size_t>(len) - text.size());
  return 0;
}

namespace {

// Days since 1970-01-01 to a proleptic Gregorian date (eras of 400 years).
void civilFromDays(int64_t z, int64_t& y, int& m, int& d) {
  z += 719468;
  int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  int64_t doe = z - era * 146097;
  int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = yoe + era * 400 + (m <= 2);
}

bool isLeap(int64_t y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// Day 0 of the wire's day numbers, counted from 1970-01-01.
constexpr int64_t kDayZero = -25568;

}  // namespace

int rdatestr(int32_t days, char* buf, int size, const char* fmt) {
  int64_t z = kDayZero + days;
  int64_t y;
  int m, d;
  civilFromDays(z, y, m, d);
  if (y < 1 || y > 9999) return kTextRange;
  char text[256];
  if (!fmt || !*fmt) {
    snprintf(text, sizeof text, "%02d/%02d/%04d", m, d, static_cast<int>(y));
  } else {
    static const int kBefore[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    struct tm tm = {};
    tm.tm_year = static_cast<int>(y) - 1900;
    tm.tm_mon = m - 1;
    tm.tm_mday = d;
    tm.tm_yday = kBefore[m - 1] + d - 1 + (m > 2 && isLeap(y));
    tm.tm_wday = static_cast<int>(((z + 4) % 7 + 7) % 7);  // 1970-01-01 was a Thursday
    // The format is the user's choice, checked by nothing but strftime.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    size_t got = strftime(text, sizeof text, fmt, &tm);
#pragma GCC diagnostic pop
    if (got == 0) return kTextTooLong;
  }
  size_t n = strlen(text);
  if (size <= 0 || n >= static_cast<size_t>(size)) return kTextTooLong;
  memcpy(buf, text, n + 1);
  return 0;
}

int rdatestr(int32_t days, char* buf) {
  return rdatestr(days, buf, kDateTextSize, getenv("WIREPRINT_DATEFMT"));
}

}  // namespace wp
