// The fields column of the -db store's message rows: each row's text parses
// (with a real parser) as the "fields" object -json writes for the same
// message, the listing is the same with or without -db, and -json -db gives
// the JSON lines of -json and the rows of -db.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "driver/run.h"
#include "golden_cases.h"
#include "tracec.h"
#include "wholerun.h"

namespace wp {
namespace {

using nlohmann::json;
using test::GoldenCase;
using test::Listed;

struct Row {
  int64_t record = 0;  // the packet's record number, as JSON counts packets
  int64_t offset = 0;
  int type = 0;
  bool null = true;
  std::string fields;
};

struct Result {
  int status = -1;
  std::string out;
  bool haveDb = false;
  std::vector<Row> rows;  // in the order stored
};

// Runs the program over a trace in memory, with -db to a fresh file when
// `db`, and reads the message rows back through SQLite itself.
Result run(const std::vector<uint8_t>& trace, std::vector<std::string> args, bool db) {
  char dir[] = "/tmp/wireprint-fields-XXXXXX";
  EXPECT_NE(mkdtemp(dir), nullptr);
  std::string path = std::string(dir) + "/t.sqlite";
  if (db) args.insert(args.begin(), {"-db", path});
  Listed l = test::listInMemory(trace, args);
  Result r;
  r.status = l.status;
  r.out = std::move(l.out);
  sqlite3* h = nullptr;
  if (db && access(path.c_str(), F_OK) == 0 &&
      sqlite3_open_v2(path.c_str(), &h, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    r.haveDb = true;
    sqlite3_stmt* s = nullptr;
    const char* sql =
        "SELECT p.record, m.offset, m.type, m.fields FROM message_rows m "
        "JOIN packets p ON p.number = m.packet ORDER BY m.rowid";
    EXPECT_EQ(sqlite3_prepare_v2(h, sql, -1, &s, nullptr), SQLITE_OK) << sqlite3_errmsg(h);
    while (s && sqlite3_step(s) == SQLITE_ROW) {
      Row row;
      row.record = sqlite3_column_int64(s, 0);
      row.offset = sqlite3_column_int64(s, 1);
      row.type = sqlite3_column_int(s, 2);
      if (auto t = sqlite3_column_text(s, 3)) {
        row.null = false;
        row.fields = reinterpret_cast<const char*>(t);
      }
      r.rows.push_back(row);
    }
    sqlite3_finalize(s);
  }
  sqlite3_close(h);
  remove(path.c_str());
  rmdir(dir);
  return r;
}

// The message objects of JSON Lines by (packet, offset). A fork marker hands
// the packet before it to the decoders again, its direction "C->F" or "S->F":
// those messages are decoded twice, and the store keeps the first decode.
std::map<std::pair<int64_t, int64_t>, json> messages(const std::string& lines) {
  std::map<std::pair<int64_t, int64_t>, json> m;
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    json j = json::parse(line, nullptr, false);
    if (!j.is_object() || j.value("kind", "") != "message") continue;
    std::string dir = j.value("dir", "");
    if (!dir.empty() && dir.back() == 'F') continue;
    m.emplace(std::make_pair(j["packet"].get<int64_t>(), j["offset"].get<int64_t>()), j);
  }
  return m;
}

// Every row against the message objects of a JSON rendering of the same
// trace: the same messages (also where -from, -to or -thread leave some
// out), and each row's fields equal to its object's.
void compareRows(const std::vector<Row>& rows, const std::string& lines) {
  auto objects = messages(lines);
  size_t withFields = 0;
  std::pair<int64_t, int64_t> last{-1, -1};
  for (const Row& r : rows) {
    SCOPED_TRACE("row of packet " + std::to_string(r.record) + " offset " +
                 std::to_string(r.offset));
    // Rows are stored in trace order, also when a message ends after the
    // messages of a packet decoded in its midst.
    std::pair<int64_t, int64_t> at{r.record, r.offset};
    EXPECT_LT(last, at);
    last = at;
    bool message = r.type >= 1 && r.type <= 139;
    EXPECT_EQ(r.null, !message);
    if (r.null) continue;
    ++withFields;
    json f = json::parse(r.fields, nullptr, false);
    ASSERT_TRUE(f.is_object()) << r.fields;
    auto it = objects.find(at);
    ASSERT_NE(it, objects.end()) << r.fields;
    EXPECT_EQ(it->second["type"], r.type);
    EXPECT_EQ(f, it->second["fields"]);
  }
  EXPECT_EQ(withFields, objects.size());
}

TEST(DbFields, EveryGoldenTraceMatchesItsJson) {
  std::vector<GoldenCase> cases = test::goldenCases();
  ASSERT_GT(cases.size(), 100u);
  size_t compared = 0, rows = 0;
  for (const GoldenCase& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::string> args;
    for (const std::string& a : c.args)
      if (a != "-json") args.push_back(a);
    std::vector<std::string> jsonArgs = args;
    jsonArgs.insert(jsonArgs.begin(), "-json");
    Result plain = run(c.trace, args, false);
    Result db = run(c.trace, args, true);
    Result js = run(c.trace, jsonArgs, false);
    Result both = run(c.trace, jsonArgs, true);
    // The listing and the JSON lines are those of the runs without -db.
    EXPECT_EQ(db.out, plain.out);
    EXPECT_EQ(both.out, js.out);
    EXPECT_EQ(db.haveDb, both.haveDb);
    if (!db.haveDb) continue;
    ++compared;
    rows += db.rows.size();
    compareRows(db.rows, js.out);
    ASSERT_EQ(both.rows.size(), db.rows.size());
    for (size_t i = 0; i < db.rows.size(); ++i) {
      EXPECT_EQ(both.rows[i].record, db.rows[i].record);
      EXPECT_EQ(both.rows[i].offset, db.rows[i].offset);
      EXPECT_EQ(both.rows[i].fields, db.rows[i].fields);
    }
  }
  EXPECT_GT(compared, 100u);
  EXPECT_GT(rows, 1000u);
}

std::vector<uint8_t> compile(const char* description) {
  tracec::Result t = tracec::compile(description);
  EXPECT_TRUE(t.ok()) << t.error;
  return t.bytes;
}

// Groups nest in the text as in -json: a list of bound values, each an object
// of its own, after a plain member; a text that is not UTF-8 is escaped.
TEST(DbFields, NestedGroupsAndEscapes) {
  Result r = run(compile(R"(header 7
CS 1700000000 {
  msg SQ_ID short 7
  msg SQ_BIND short 2
    short 2 short 0 short 0 long 42
    short 0 short 0 short 20 str "ab\xff"
  msg SQ_EXECUTE msg SQ_EOT
}
)"),
                 {}, true);
  ASSERT_EQ(r.status, 0);
  ASSERT_EQ(r.rows.size(), 4u);
  // SQ_BIND (type 5) follows SQ_ID's type and short at offset 4.
  EXPECT_EQ(r.rows[1].offset, 4);
  EXPECT_EQ(r.rows[1].type, 5);
  EXPECT_EQ(json::parse(r.rows[1].fields), json::parse(R"({"n_values":2,"values":[
      {"type":"INT","type_flags":["NULLABLE"],"indicator":"NOT NULL","precision":0,"data":42},
      {"type":"CHAR","type_flags":["NULLABLE"],"indicator":"NOT NULL","precision":20,
       "data":"ab\u00ff"}]})"));
  EXPECT_EQ(r.rows[0].fields, R"({"statement_id":7})");
  EXPECT_EQ(r.rows[2].fields, "{}");
}

// A trace that ends inside a message: the row still holds a whole object,
// with what was decoded before the end (the second value had only begun).
TEST(DbFields, MessageCutShortStillValidJson) {
  Result r = run(compile(R"(header 7
CS 1700000000 {
  msg SQ_BIND short 2
    short 2 short 0 short 0 long 42
}
)"),
                 {}, true);
  EXPECT_EQ(r.status, 1);
  ASSERT_EQ(r.rows.size(), 1u);
  EXPECT_EQ(json::parse(r.rows[0].fields), json::parse(R"({"n_values":2,"values":[
      {"type":"INT","type_flags":["NULLABLE"],"indicator":"NOT NULL","precision":0,"data":42},
      {}]})"));
}

}  // namespace
}  // namespace wp
