// The listing's fast formatter writes byte for byte what vsnprintf writes,
// and hands every conversion it does not do back to the C library.
#include "driver/format.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

struct Outcome {
  bool fast;
  std::string got, want;
};

Outcome __attribute__((format(printf, 1, 2))) both(const char* fmt, ...) {
  va_list a, b;
  va_start(a, fmt);
  va_copy(b, a);
  char buf[512];
  size_t n = 0;
  Outcome r;
  r.fast = wp::formatFast(buf, sizeof buf, fmt, a, &n);
  if (r.fast) r.got.assign(buf, n);
  char ref[512];
  int m = vsnprintf(ref, sizeof ref, fmt, b);
  r.want.assign(ref, static_cast<size_t>(m));
  va_end(a);
  va_end(b);
  return r;
}

#define EXPECT_SAME(...)                      \
  do {                                        \
    Outcome o = both(__VA_ARGS__);            \
    EXPECT_TRUE(o.fast) << #__VA_ARGS__;      \
    EXPECT_EQ(o.got, o.want) << #__VA_ARGS__; \
  } while (0)

TEST(FormatFast, TheListingsFormats) {
  EXPECT_SAME("\t%s\n", "SQ_PREPARE");
  EXPECT_SAME("\n%c->%c", 'C', 'S');
  EXPECT_SAME(" (%d)", -2147483647 - 1);
  // An int given to %hd or %hhd is narrowed by the formatter, as the C library
  // does; clang warns about the narrowing that is tested here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
  EXPECT_SAME("\t\tSQL error..........: %hd\n", 70000);  // wraps to 4464
  EXPECT_SAME("\t\tWarning..: 0x%hx\n", -1);
  EXPECT_SAME("%hhd %hhu %zu %zd %i", 200, 300, size_t{7}, ssize_t{-7}, -9);
#pragma GCC diagnostic pop
  EXPECT_SAME("\t\tSize of string table: %u\n", 4294967295u);
  EXPECT_SAME("%#8x: ", 0u);
  EXPECT_SAME("%#8x: ", 0x10u);
  EXPECT_SAME("%#8x: ", 0x12345678u);
  EXPECT_SAME("\t\t\tLength : %d (0x%x)\n", -5, -5);
  EXPECT_SAME("\"%*.*s\" [%d]\n", 5, 5, "abcdefgh", 5);
  EXPECT_SAME("\"%*.*s\" [%d]\n", 8, 8, "ab\0cdefg", 8);  // stops at the NUL, pads
  EXPECT_SAME("SQL: %-70.70s\n", "select a from t");
  EXPECT_SAME("%-*.*s|", 75, 3, "abcdef");
  EXPECT_SAME("%-12s %5d    ", "SQ_TUPLE", 12345678);
  EXPECT_SAME("%6s    ", "0.000001");
  EXPECT_SAME("\tBigserial:%ld\n", LONG_MIN);
  EXPECT_SAME("%lx %llx %llu", -1L, -2LL, 18446744073709551615ULL);
  EXPECT_SAME("%02d-%03d-%04d %02ld", 7, -7, 12345, 3L);
  EXPECT_SAME("\t\t byte[%d] = %2x\n", 3, 5u);
  EXPECT_SAME("%c%c", 0, 255);  // a NUL byte is written
  EXPECT_SAME("%3c|%-3c|%*c|%1c|%0d", 'a', 'b', -2, 'c', 'd', 0);
  EXPECT_SAME("100%% %s", "done");
  EXPECT_SAME("%.*s|%.0s|%.s", 2, "xyz", "gone", "gone");
  EXPECT_SAME("%.0d|%.0x|%5.0d|%#.0x", 0, 0u, 0, 0u);
  EXPECT_SAME("%-5d|%05d|%#010x|%#X", -42, -42, 0xabcu, 255u);
  // Flags the compiler calls ignored are ignored alike.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
  EXPECT_SAME("%-05d|%08.3d|%-08x", 42, -7, 9u);
#pragma GCC diagnostic pop
  EXPECT_SAME("%*d|%*d|%-*s|", -6, 1, 4, -2, -4, "ab");
  EXPECT_SAME("%.*s|", -1, "negative precision means none");
  EXPECT_SAME("no conversions at all");
  EXPECT_SAME("%s", "");
}

TEST(FormatFast, OtherConversionsGoToTheCLibrary) {
  EXPECT_FALSE(both("%6f", 1.5).fast);
  EXPECT_FALSE(both("%.5f", 0.25).fast);
  EXPECT_FALSE(both("%g", 1e300).fast);
  EXPECT_FALSE(both("%p", static_cast<void*>(nullptr)).fast);
  EXPECT_FALSE(both("%+d", 5).fast);
  EXPECT_FALSE(both("% d", 5).fast);
  EXPECT_FALSE(both("%o", 8u).fast);
  EXPECT_FALSE(both("%lc", L'x').fast);
  EXPECT_FALSE(both("%ls", L"wide").fast);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
  EXPECT_FALSE(both("%5%").fast);
#pragma GCC diagnostic pop
  // A format the formatter does is still handed back after a conversion it
  // does not: the caller then formats the whole text afresh.
  EXPECT_FALSE(both("%d %f", 1, 2.0).fast);
}

TEST(FormatFast, TooLittleRoomIsRefused) {
  char buf[8];
  size_t n = 0;
  auto call = [&](size_t room, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    bool ok = wp::formatFast(buf, room, fmt, ap, &n);
    va_end(ap);
    return ok;
  };
  EXPECT_TRUE(call(8, "%s", "12345678"));
  EXPECT_EQ(n, 8u);
  EXPECT_FALSE(call(7, "%s", "12345678"));
  EXPECT_FALSE(call(7, "%8d", 1));
  EXPECT_FALSE(call(3, "%d", 1234));
  EXPECT_FALSE(call(3, "%u", 1234u));
  EXPECT_FALSE(call(0, "%c", 'x'));
  EXPECT_FALSE(call(2, "%s", "abc"));
  EXPECT_TRUE(call(4, "%d", -123));
  EXPECT_EQ(std::string(buf, n), "-123");
  EXPECT_FALSE(call(3, "abcd"));
  EXPECT_FALSE(call(0, "%%"));
  EXPECT_FALSE(call(8, "%70000d", 1));  // widths beyond any listing line
}

// Random integers through every integer form the listing uses.
TEST(FormatFast, RandomIntegersMatch) {
  std::mt19937_64 rng(12345);
  const long long edges[] = {0,       1,        -1,        127,       128,     255,
                             32767,   32768,    -32768,    65535,     65536,   INT_MAX,
                             INT_MIN, UINT_MAX, LLONG_MAX, LLONG_MIN, 1000000, -999999};
  for (int i = 0; i < 20000; ++i) {
    long long v = i < 18 ? edges[i] : static_cast<long long>(rng() >> (rng() % 64));
    // Negated as unsigned: LLONG_MIN stays itself.
    if (rng() & 1) v = static_cast<long long>(0ULL - static_cast<unsigned long long>(v));
    int w = static_cast<int>(rng() % 24) - 4;
    int p = static_cast<int>(rng() % 24) - 4;
    auto iv = static_cast<int>(v);
    auto uv = static_cast<unsigned>(v);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // narrowed as above
    EXPECT_SAME("%d|%hd|%hhd|%x|%hx|%#x|%u|%X", iv, iv, iv, uv, uv, uv, uv, uv);
#pragma GCC diagnostic pop
    EXPECT_SAME("%*d|%-*d|%0*d|%*.*d", w, iv, w, iv, w, iv, w, p, iv);
    EXPECT_SAME("%*x|%#*x|%#0*x|%*.*x|%#*.*x", w, uv, w, uv, w, uv, w, p, uv, w, p, uv);
    EXPECT_SAME("%ld|%lx|%llu|%lld|%20ld|%-20lld|", static_cast<long>(v),
                static_cast<unsigned long>(v), static_cast<unsigned long long>(v), v,
                static_cast<long>(v), v);
  }
}

}  // namespace

namespace {

// Time stamp fractions print as "%.5f" does, ties (x * 100000 ending in
// exactly .5, as with 1/64) to even.
TEST(FormatFraction5, MatchesPrintf) {
  std::mt19937_64 rng(99);
  std::vector<double> xs = {0.0,     0.25,    0.015625, 0.046875, 0.999995, 0.9999949999,
                            0.99999, 0.00001, 0.000005, 1.0 / 3,  0.5,      0.123455};
  for (int j = 1; j < 64; j += 2) xs.push_back(j / 64.0);  // every exact tie
  for (int i = 0; i < 200000; ++i) {
    double t = 1700000000.0 + static_cast<double>(rng() % 100000000) / (1 << (rng() % 24));
    xs.push_back(t - std::trunc(t));
    xs.push_back(static_cast<double>(rng() >> 11) * 0x1.0p-53);
  }
  for (double x : xs) {
    char got[8] = {}, want[32];
    ASSERT_TRUE(wp::formatFraction5(x, got)) << x;
    snprintf(want, sizeof want, "%.5f", x);
    ASSERT_STREQ(got, want) << std::hexfloat << x;
  }
  char out[8];
  EXPECT_FALSE(wp::formatFraction5(1.0, out));
  EXPECT_FALSE(wp::formatFraction5(-0.1, out));
  EXPECT_FALSE(wp::formatFraction5(std::nan(""), out));
}

}  // namespace

namespace {

std::string viaFast(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  char buf[256];
  size_t n = 0;
  bool ok = wp::formatFast(buf, sizeof buf, fmt, ap, &n);
  va_end(ap);
  return ok ? std::string(buf, n) : "<declined>";
}

// Literal text is scanned a word at a time; a format that ends right before
// an unreadable page is still read only up to its end.
TEST(FormatFast, FormatsEndingAtAPageBoundary) {
  long page = sysconf(_SC_PAGESIZE);
  auto* mem = static_cast<char*>(
      mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(mem, MAP_FAILED);
  ASSERT_EQ(mprotect(mem + page, page, PROT_NONE), 0);
  const std::string texts[] = {"x", "literal only, longer than a word", "n=%d!", "%s", "ab%%cd"};
  for (const std::string& t : texts) {
    for (size_t back = t.size() + 1; back < t.size() + 18; ++back) {
      char* f = mem + page - back;
      memset(mem + page - 64, 'Z', 64);
      memcpy(f, t.c_str(), t.size() + 1);
      std::string want = t == "n=%d!" ? "n=42!" : t == "%s" ? "val" : t == "ab%%cd" ? "ab%cd" : t;
      EXPECT_EQ(t == "%s" ? viaFast(f, "val") : viaFast(f, 42), want) << t << " " << back;
    }
  }
  munmap(mem, 2 * page);
}

}  // namespace
