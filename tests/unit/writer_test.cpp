// The JSON writer of -json: strings escaped byte for byte as the rendering
// promises (plain ASCII as it is, UTF-8 characters as they are, everything
// else as an escape), wherever the odd byte falls in the word-at-a-time scan
// and however far the buffer has to grow; numbers as the C library and the
// shortest round trip write them; commas and nesting right.
#include <gtest/gtest.h>

#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

#include "driver/output.h"
#include "driver/reader.h"
#include "render/json_render.h"
#include "render/json_writer.h"
#include "render/keys.h"

namespace wp {
namespace {

std::string str(std::string_view s) {
  JsonWriter w;
  w.string(s.data(), s.size());
  return std::string(w.text());
}

// The same text given NUL-terminated (it then has no NUL of its own).
std::string strz(const std::string& s) {
  JsonWriter w;
  w.string(s.c_str());
  return std::string(w.text());
}

std::string num(double d) {
  JsonWriter w;
  w.number(d);
  return std::string(w.text());
}

// What one byte on its own becomes inside the quotes.
// A JSON string's expected text in its quotes (appended, not prepended to a
// temporary: g++ 12 -O3 reports a false -Wrestrict for the latter).
std::string inQuotes(const std::string& s) {
  std::string q = "\"";
  return q.append(s).append("\"");
}

std::string byteAlone(int b) {
  switch (b) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    case '\r':
      return "\\r";
  }
  if (b >= 0x20 && b < 0x7f) return std::string(1, static_cast<char>(b));
  char e[8];
  snprintf(e, sizeof e, "\\u%04x", b);  // controls, DEL, and lone bytes of 0x80 and up
  return e;
}

TEST(JsonWriterString, Escapes) {
  struct Case {
    std::string in, want;
  } cases[] = {
      {"", "\"\""},
      {"select 1", "\"select 1\""},
      {"say \"hi\"", "\"say \\\"hi\\\"\""},
      {"C:\\tmp", "\"C:\\\\tmp\""},
      {"a\nb\tc\rd", "\"a\\nb\\tc\\rd\""},
      {std::string("\0x", 2), "\"\\u0000x\""},
      {"\x1f\x7f", "\"\\u001f\\u007f\""},
      {"\x08\x0c", "\"\\u0008\\u000c\""},
      // UTF-8 of two, three and four bytes stays as it is.
      {"caf\xc3\xa9", "\"caf\xc3\xa9\""},
      {"\xe2\x82\xac 5", "\"\xe2\x82\xac 5\""},
      {"\xf0\x9f\x98\x80!", "\"\xf0\x9f\x98\x80!\""},
      // Not UTF-8: each byte as the Latin-1 character of its value.
      {"caf\xe9", "\"caf\\u00e9\""},                             // Latin-1 text
      {"\xc0\x80", "\"\\u00c0\\u0080\""},                        // overlong NUL
      {"\xed\xa0\x80", "\"\\u00ed\\u00a0\\u0080\""},             // a surrogate
      {"\xf4\x90\x80\x80", "\"\\u00f4\\u0090\\u0080\\u0080\""},  // beyond U+10FFFF
      {"\xf5\x80", "\"\\u00f5\\u0080\""},
      {"ab\xe2\x82", "\"ab\\u00e2\\u0082\""},  // a character cut short at the end
      {"\xc3"
       "A",
       "\"\\u00c3A\""},                    // a lead byte without its follower
      {"\x80\xbf", "\"\\u0080\\u00bf\""},  // followers without a lead
  };
  for (const Case& c : cases) {
    EXPECT_EQ(str(c.in), c.want) << c.in;
    if (c.in.find('\0') == std::string::npos) {
      EXPECT_EQ(strz(c.in), c.want) << c.in;
    }
  }
}

// Every byte value at every place of a text long enough for several steps
// of the fast scans (a word of eight bytes counted, 32 bytes NUL-terminated),
// with plain text around it.
TEST(JsonWriterString, EveryByteAtEveryPlace) {
  const size_t size = 70;
  for (int b = 0; b < 256; ++b) {
    for (size_t at = 0; at < size; ++at) {
      std::string in(size, 'x');
      in[at] = static_cast<char>(b);
      std::string want =
          inQuotes(std::string(at, 'x') + byteAlone(b) + std::string(size - 1 - at, 'x'));
      ASSERT_EQ(str(in), want) << "byte " << b << " at " << at;
      if (b) {
        ASSERT_EQ(strz(in), want) << "byte " << b << " at " << at;
      }
    }
  }
  // A NUL-terminated text ends at its NUL, wherever that falls.
  for (size_t len = 0; len < size; ++len) {
    std::string in(len, 'y');
    ASSERT_EQ(strz(in), inQuotes(in));
    ASSERT_EQ(strz(in + "\x01"), inQuotes(in + "\\u0001"));
  }
}

// Texts far longer than the first buffer, all plain, all escapes (six bytes
// out for each one in), and mixed, written one after another in one writer.
TEST(JsonWriterString, LongTextsGrowTheBuffer) {
  JsonWriter w;
  std::string plain(10000, 'p');
  std::string controls(3000, '\x01');
  std::string mixed;
  std::string mixedWant;
  for (int i = 0; i < 2000; ++i) {
    mixed += "ab\"\xc3\xa9\xff";
    mixedWant += "ab\\\"\xc3\xa9\\u00ff";
  }
  std::string want = "[\"" + plain + "\",\"";
  for (int i = 0; i < 3000; ++i) want += "\\u0001";
  want += "\",\"" + mixedWant + "\"]";
  w.beginArray();
  for (const std::string* s : {&plain, &controls, &mixed}) {
    w.key(nullptr);
    w.string(s->data(), s->size());
  }
  w.end();
  EXPECT_EQ(w.text(), want);
  w.clear();
  std::string longName(5000, 'n');
  longName[4000] = '\t';
  w.string(longName.c_str());
  EXPECT_EQ(w.text(), inQuotes(longName.substr(0, 4000) + "\\t" + longName.substr(4001)));
  w.clear();
  w.string("z", 1);
  EXPECT_EQ(w.text(), "\"z\"");
}

TEST(JsonWriterNumber, Integers) {
  for (int64_t v : {int64_t{0}, int64_t{-1}, int64_t{7}, int64_t{9}, int64_t{10}, int64_t{-10},
                    int64_t{99}, int64_t{100}, int64_t{1700000100}, int64_t{-2147483648},
                    std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()}) {
    char ref[32];
    snprintf(ref, sizeof ref, "%" PRId64, v);
    JsonWriter w;
    w.number(v);
    EXPECT_EQ(w.text(), ref);
    // As a member, which takes a path of its own.
    JsonWriter m;
    m.beginObject();
    m.field("v", v);
    m.end();
    EXPECT_EQ(m.text(), std::string("{\"v\":") + ref + "}");
  }
}

TEST(JsonWriterNumber, Reals) {
  struct Case {
    double v;
    const char* want;
  } cases[] = {
      {0.0, "0"},
      {-0.0, "-0"},
      {1700000100.25, "1700000100.25"},  // an epoch: no exponent
      {1700000000.0, "1700000000"},
      {0.0125, "0.0125"},
      {-2.5, "-2.5"},
      {0.1, "0.1"},
      {1e-6, "0.000001"},
      {1e-7, "1e-07"},  // below a millionth: the exponent form
      {1e15, "1000000000000000"},
      {1e16, "1e+16"},
      {1e21, "1e+21"},
      {std::nan(""), "\"nan\""},
      {HUGE_VAL, "\"inf\""},
      {-HUGE_VAL, "\"-inf\""},
  };
  for (const Case& c : cases) EXPECT_EQ(num(c.v), c.want) << c.want;
}

// Time stamps and their differences read back as the same double.
TEST(JsonWriterNumber, RealsReadBack) {
  std::mt19937_64 rng(5);
  double t = 1700000000.0;
  for (int i = 0; i < 20000; ++i) {
    double next = t + static_cast<double>(rng() % 5000000) * 1e-6;
    for (double v : {next, next - t}) {
      std::string s = num(v);
      double back = 0;
      auto r = std::from_chars(s.data(), s.data() + s.size(), back);
      ASSERT_EQ(r.ptr, s.data() + s.size()) << s;
      ASSERT_EQ(back, v) << s;
      ASSERT_EQ(s.find('e'), std::string::npos) << s;
    }
    t = next;
  }
}

TEST(JsonWriterStructure, CommasKeysAndNesting) {
  JsonWriter w;
  w.beginObject();
  w.field("kind", "packet");
  w.field("n", 17);
  w.beginObject("fields");
  w.beginArray("values");
  w.beginObject(nullptr);
  w.field("ignored_in_array_no", Value());  // inside an object: kept
  w.end();
  w.field("key_dropped_in_array", 3);
  w.end();
  const char* flags[] = {"NULLABLE", "DISTINCT"};
  w.field("type_flags", Value::names(flags, 2));
  w.field("empty", Value::names(flags, 0));
  const uint8_t bytes[] = {0x00, 0xab, 0x7f};
  w.field("data", Value::hex(bytes, 3));
  w.field("text", std::string_view("a\0b", 3));
  w.field("none", static_cast<const char*>(nullptr));
  w.beginArray("open");
  w.key(nullptr);
  w.number(int64_t{-5});
  EXPECT_EQ(w.depth(), 3u);
  w.endLine();
  EXPECT_TRUE(w.empty());
  EXPECT_EQ(
      w.text(),
      "{\"kind\":\"packet\",\"n\":17,\"fields\":{\"values\":[{\"ignored_in_array_no\":null},3],"
      "\"type_flags\":[\"NULLABLE\",\"DISTINCT\"],\"empty\":[],\"data\":\"00ab7f\","
      "\"text\":\"a\\u0000b\",\"none\":null,\"open\":[-5]}}\n");
}

// A prefix written as it is, then members in the state it leaves.
TEST(JsonWriterStructure, AssumedContainers) {
  JsonWriter w;
  const char head[] = "{\"kind\":\"message\",\"fields\":{";
  w.raw(head, sizeof head - 1);
  w.assumeOpen(false);
  w.assumeOpen(false, true);
  w.field("a", 1);
  w.end();
  w.field("b", 2);
  w.endLine();
  EXPECT_EQ(w.text(), "{\"kind\":\"message\",\"fields\":{\"a\":1},\"b\":2}\n");
}

// Keys are cut at 68 bytes; a key outside any object writes nothing.
TEST(JsonWriterStructure, LongKeysAndStrayKeys) {
  JsonWriter w;
  w.key("stray");
  std::string k(80, 'k');
  w.beginObject();
  w.field(k.c_str(), 1);
  w.end();
  EXPECT_EQ(w.text(), "{\"" + std::string(68, 'k') + "\":1}");
}

// Keys made of two parts are cut where snprintf cuts "%s%s".
TEST(JsonKeys, Joined) {
  struct Case {
    std::string key, suffix;
    size_t size;
  } cases[] = {
      {"type", "_flags", 64},
      {"ddxt_type", "_flags", 64},
      {"", "_flags", 64},
      {"type", "", 64},
      {std::string(57, 'k'), "_flags", 64},
      {std::string(60, 'k'), "_flags", 64},  // the suffix cut
      {std::string(70, 'k'), "_flags", 64},  // the key cut, no suffix
      {"type", "_flags", 5},
      {"type", "_flags", 1},
  };
  for (const Case& c : cases) {
    char got[80];
    char want[80];
    snprintf(want, c.size, "%s%s", c.key.c_str(), c.suffix.c_str());
    EXPECT_STREQ(joinKey(c.key.c_str(), c.suffix.c_str(), got, c.size), want)
        << c.key << " " << c.size;
  }
}

// Message heads are put together from parts kept per packet and per type:
// each must follow its packet number, direction code, type and name.
TEST(JsonRenderHead, FollowsPacketDirectionTypeAndName) {
  Output out;
  FILE* f = tmpfile();
  ASSERT_NE(f, nullptr);
  out.setFile(f);
  Reader rd;
  JsonRender json(out, rd);
  static const char kOther[] = "A\"B";
  struct Step {
    int32_t packet;
    const char* dir;
    int type;
    const char* name;
    int32_t offset;
  } steps[] = {
      {1, "CS", 2, "SQ_PREPARE", 0}, {1, "CS", 12, "SQ_EOT", 96},  {2, "SC", 2, kOther, 0},
      {2, "\x01Z", 2, kOther, 4},    {2, "\x01Z", 258, kOther, 6}, {2, "\x01Z", 12, nullptr, 8},
      {3, "SC", 12, "SQ_EOT", 2},    {2, "SC", 12, "SQ_EOT", 2},
  };
  for (const Step& s : steps) {
    rd.g_ipkt = s.packet;
    memcpy(rd.msgdir, s.dir, 2);
    json.beginMessage(s.type, s.name, s.offset);
    json.field("n_rows", s.offset);
    json.endMessage();
  }
  out.sync();
  rewind(f);
  std::string got;
  char buf[4096];
  for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;) got.append(buf, n);
  const char* m = "{\"kind\":\"message\",\"packet\":";
  EXPECT_EQ(got, std::string(m) +
                     "1,\"dir\":\"C->S\",\"offset\":0,\"type\":2,\"name\":\"SQ_PREPARE\","
                     "\"fields\":{\"n_rows\":0}}\n" +
                     m +
                     "1,\"dir\":\"C->S\",\"offset\":96,\"type\":12,\"name\":\"SQ_EOT\","
                     "\"fields\":{\"n_rows\":96}}\n" +
                     m +
                     "2,\"dir\":\"S->C\",\"offset\":0,\"type\":2,\"name\":\"A\\\"B\","
                     "\"fields\":{\"n_rows\":0}}\n" +
                     m +
                     "2,\"dir\":\"\\u0001->Z\",\"offset\":4,\"type\":2,\"name\":\"A\\\"B\","
                     "\"fields\":{\"n_rows\":4}}\n" +
                     m +
                     "2,\"dir\":\"\\u0001->Z\",\"offset\":6,\"type\":258,\"name\":\"A\\\"B\","
                     "\"fields\":{\"n_rows\":6}}\n" +
                     m +
                     "2,\"dir\":\"\\u0001->Z\",\"offset\":8,\"type\":12,\"name\":null,"
                     "\"fields\":{\"n_rows\":8}}\n" +
                     m +
                     "3,\"dir\":\"S->C\",\"offset\":2,\"type\":12,\"name\":\"SQ_EOT\","
                     "\"fields\":{\"n_rows\":2}}\n" +
                     m +
                     "2,\"dir\":\"S->C\",\"offset\":2,\"type\":12,\"name\":\"SQ_EOT\","
                     "\"fields\":{\"n_rows\":2}}\n");
}

// Packet times in UTC to the microsecond; out of range, nothing.
TEST(JsonRenderTime, Iso8601) {
  Output out;
  Reader rd;
  JsonRender json(out, rd);
  struct Case {
    double seconds;
    const char* want;
  } cases[] = {
      {1700000100.25, "2023-11-14T22:15:00.250000Z"},
      {1700000100.000001, "2023-11-14T22:15:00.000001Z"},
      {1700000100.0000004, "2023-11-14T22:15:00.000000Z"},  // rounds down
      {1700000099.9999996, "2023-11-14T22:15:00.000000Z"},  // rounds up into the next second
      {1700000100.5, "2023-11-14T22:15:00.500000Z"},        // the date part again
      {86400.123456, "1970-01-02T00:00:00.123456Z"},
      {0.0, "1970-01-01T00:00:00.000000Z"},
      {-1.0, ""},
      {9.3e15, ""},
      {std::nan(""), ""},
  };
  for (const Case& c : cases) EXPECT_STREQ(json.isoTime(c.seconds), c.want) << c.want;
}

}  // namespace
}  // namespace wp
