#include "filter/settings.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace wp {

namespace {

// Reads exactly `width` digits.
bool digits(const char*& p, int width, int* value) {
  int v = 0;
  for (int i = 0; i < width; ++i) {
    if (!isdigit(static_cast<unsigned char>(p[i]))) return false;
    v = v * 10 + (p[i] - '0');
  }
  p += width;
  *value = v;
  return true;
}

// "." and digits: the fraction of a second.
bool fraction(const char*& p, double* f) {
  *f = 0;
  if (*p != '.' && *p != ',') return true;
  ++p;
  if (!isdigit(static_cast<unsigned char>(*p))) return false;
  double scale = 0.1;
  while (isdigit(static_cast<unsigned char>(*p))) {
    *f += (*p++ - '0') * scale;
    scale /= 10;
  }
  return true;
}

bool epochSeconds(const char* text, double* seconds) {
  const char* p = text;
  if (!isdigit(static_cast<unsigned char>(*p))) return false;
  double whole = 0;
  while (isdigit(static_cast<unsigned char>(*p))) whole = whole * 10 + (*p++ - '0');
  double f;
  if (!fraction(p, &f) || *p) return false;
  *seconds = whole + f;
  return true;
}

}  // namespace

bool parseTimeArg(const char* text, double* seconds) {
  if (epochSeconds(text, seconds)) return true;
  const char* p = text;
  struct tm tmv = {};
  int year, month, day, hour = 0, minute = 0, second = 0;
  double frac = 0;
  if (!digits(p, 4, &year) || *p++ != '-' || !digits(p, 2, &month) || *p++ != '-' ||
      !digits(p, 2, &day))
    return false;
  if (*p == 'T' || *p == ' ') {
    ++p;
    if (!digits(p, 2, &hour) || *p++ != ':' || !digits(p, 2, &minute)) return false;
    if (*p == ':') {
      ++p;
      if (!digits(p, 2, &second) || !fraction(p, &frac)) return false;
    }
  }
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60)
    return false;
  tmv.tm_year = year - 1900;
  tmv.tm_mon = month - 1;
  tmv.tm_mday = day;
  tmv.tm_hour = hour;
  tmv.tm_min = minute;
  tmv.tm_sec = second;
  time_t t;
  if (*p == '\0') {
    tmv.tm_isdst = -1;
    t = mktime(&tmv);
  } else {
    int offset = 0;
    if (*p == 'Z') {
      ++p;
    } else if (*p == '+' || *p == '-') {
      int sign = *p++ == '-' ? -1 : 1, oh, om = 0;
      if (!digits(p, 2, &oh)) return false;
      if (*p == ':') ++p;
      if (*p && !digits(p, 2, &om)) return false;
      offset = sign * (oh * 3600 + om * 60);
    } else {
      return false;
    }
    if (*p) return false;
    t = timegm(&tmv) - offset;
  }
  *seconds = static_cast<double>(t) + frac;
  return true;
}

bool parseThreadArg(const char* text, FilterSettings& f) {
  if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    // The record holds 8 characters of text; the listing prints them.
    size_t n = strlen(text + 2);
    if (n == 0 || n > 8) return false;
    f.addresses.emplace_back(text + 2);
    return true;
  }
  char* end;
  long v = strtol(text, &end, 10);
  if (end == text || *end || v < 0 || v > 63) return false;
  f.indexes.push_back(static_cast<int32_t>(v));
  return true;
}

}  // namespace wp
