#include "catalog.h"

#include <algorithm>
#include <array>

namespace tracegen {

namespace {

const ColumnDef kId = {"id", kInt, 4, 4, nullptr, nullptr, 0, 0};

// The columns a table draws from, besides its "id".
const ColumnDef kPool[] = {
    {"qty", kSmallint, 2, 2, nullptr, nullptr, 0, 0},
    {"name", kChar, 30, 30, nullptr, nullptr, 0, 0},
    {"code", kChar, 8, 8, nullptr, nullptr, 0, 0},
    {"status", kChar, 1, 1, nullptr, nullptr, 0, 0},
    {"descr", kVarchar, 80, 81, nullptr, nullptr, 0, 0},  // length byte, then up to 80
    {"amount", kDecimal, 0x1002, 9, nullptr, nullptr, 0, 0},
    {"price", kMoney, 0x0c02, 7, nullptr, nullptr, 0, 0},
    {"created", kDate, 4, 4, nullptr, nullptr, 0, 0},
    {"updated", kDatetime, 0x0e0a, 8, nullptr, nullptr, 0, 0},
    {"ratio", kFloat, 8, 8, nullptr, nullptr, 0, 0},
    {"weight", kSmallfloat, 4, 4, nullptr, nullptr, 0, 0},
    {"total", kInt8, 10, 10, nullptr, nullptr, 0, 0},
    {"seq", kBigint, 8, 8, nullptr, nullptr, 0, 0},
    {"balance", kDecimal | kDistinct, 0x1002, 9, "appuser", "money_t", 2049, kDecimal},
    {"location", kUdtFixed, 16, 16, "appuser", "point", 2050, 0},
};
constexpr int kPoolSize = sizeof kPool / sizeof kPool[0];

const char* const kTableWords[] = {
    "customer", "orders",  "item",     "stock",     "account", "invoice",
    "payment",  "vendor",  "product",  "shipment",  "region",  "employee",
    "ledger",   "journal", "contract", "warehouse", "booking", "ticket",
};
constexpr int kTableWordCount = sizeof kTableWords / sizeof kTableWords[0];

Rng shapeRng(uint64_t seed, uint64_t salt, int k) {
  return Rng(seed ^ (salt * (static_cast<uint64_t>(k) + 1)));
}

const char* kw(bool upper, const char* lower, const char* up) {
  return upper ? up : lower;
}

}  // namespace

bool builtinType(int type) {
  int code = type & 0xff;
  return (code <= 18 || code == 42 || (code >= 51 && code <= 53)) && !(type & kDistinct);
}

bool namedValueType(int type, const Caps& protocolver) {
  int code = type & 0xff;
  bool extended = code > 18 && code != 42 && !(code >= 51 && code <= 53);
  return protocolver.has(kNewDescribe) && (extended || (type & kDistinct));
}

Catalog::Catalog(uint64_t seed, int statements) {
  int ntables = (statements + 3) / 4;
  tables_.resize(ntables);
  for (int t = 0; t < ntables; ++t) {
    Rng r = shapeRng(seed, 0x2545f4914f6cdd1dULL, t);
    Table& tab = tables_[t];
    tab.name = std::string(kTableWords[r.below(kTableWordCount)]) + "_" + std::to_string(t);
    std::array<int, kPoolSize> order;
    for (int i = 0; i < kPoolSize; ++i) order[i] = i;
    for (int i = kPoolSize - 1; i > 0; --i) std::swap(order[i], order[r.below(i + 1)]);
    int n = r.range(3, 10);
    tab.cols.push_back(&kId);
    for (int i = 0; i < n; ++i) tab.cols.push_back(&kPool[order[i]]);
  }
  stmts_.resize(statements);
  for (int k = 0; k < statements; ++k) {
    Rng r = shapeRng(seed, 0x51ed2701a3c5f3b1ULL, k);
    Statement& s = stmts_[k];
    s.table = k / 4;
    s.upper = r.chance(0.3);
    s.nameFilter = r.chance(0.5);
    int ncols = static_cast<int>(tables_[s.table].cols.size());
    switch (k % 4) {
      case 0: {  // some columns by key, the key bound
        s.kind = Kind::Select;
        int n = r.range(1, ncols);
        for (int i = 0; i < n; ++i) s.cols.push_back(i);
        s.params.push_back(0);
        break;
      }
      case 1:  // every column, literal conditions
        s.kind = Kind::SelectLiteral;
        for (int i = 0; i < ncols; ++i) s.cols.push_back(i);
        break;
      case 2:  // every column bound
        s.kind = Kind::Insert;
        for (int i = 0; i < ncols; ++i) s.cols.push_back(i), s.params.push_back(i);
        break;
      default:
        if (r.chance(0.5)) {
          s.kind = Kind::Update;
          int n = r.range(1, ncols - 1);
          for (int i = 1; i <= n; ++i) s.params.push_back(i);
          s.params.push_back(0);
        } else {
          s.kind = Kind::Delete;
        }
        break;
    }
  }
}

int Catalog::rowWidth(const Statement& s) const {
  int w = 0;
  for (int c : s.cols) w += tables_[s.table].cols[c]->width;
  return w;
}

std::string Catalog::text(int k, Rng& rng) const {
  const Statement& s = stmts_[k];
  const Table& t = tables_[s.table];
  bool up = s.upper;
  std::string q;
  auto colList = [&](const std::vector<int>& cols) {
    for (size_t i = 0; i < cols.size(); ++i) {
      if (i) q += up ? ",  " : ", ";
      q += t.cols[cols[i]]->name;
    }
  };
  auto word = [&]() {
    std::string w;
    int n = rng.range(1, 8);
    for (int i = 0; i < n; ++i) w += static_cast<char>('a' + rng.below(26));
    return w;
  };
  switch (s.kind) {
    case Kind::Select:
      q += kw(up, "select ", "SELECT ");
      colList(s.cols);
      q += kw(up, " from ", " FROM ") + t.name + kw(up, " where id = ?", "  WHERE id = ?");
      break;
    case Kind::SelectLiteral:
      q += kw(up, "select ", "SELECT ");
      colList(s.cols);
      q += kw(up, " from ", " FROM ") + t.name + kw(up, " where id > ", " WHERE id > ");
      q += std::to_string(rng.range(0, 99999));
      q += kw(up, " and id < ", " AND id < ") + std::to_string(rng.range(100000, 999999));
      if (s.nameFilter) q += kw(up, " and name <> '", " AND name <> '") + word() + "'";
      q += kw(up, " order by id", " ORDER BY id");
      break;
    case Kind::Insert:
      q += kw(up, "insert into ", "INSERT INTO ") + t.name + " (";
      colList(s.cols);
      q += kw(up, ") values (", ") VALUES (");
      for (size_t i = 0; i < s.params.size(); ++i) q += i ? ", ?" : "?";
      q += ")";
      break;
    case Kind::Update:
      q += kw(up, "update ", "UPDATE ") + t.name + kw(up, " set ", " SET ");
      for (size_t i = 0; i + 1 < s.params.size(); ++i) {
        if (i) q += ", ";
        q += t.cols[s.params[i]]->name;
        q += " = ?";
      }
      q += kw(up, " where id = ?", " WHERE id = ?");
      break;
    case Kind::Delete:
      q += kw(up, "delete from ", "DELETE FROM ") + t.name + kw(up, " where id = ", " WHERE id = ");
      q += std::to_string(rng.range(1, 999999));
      break;
  }
  return q;
}

}  // namespace tracegen
