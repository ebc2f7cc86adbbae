// The generated schema and its statements. Statement k works on table k / 4;
// its shape (kind, columns, parameters) follows from the seed and k alone, so
// every execution of k describes and fetches the same columns while its
// literals change. Table names carry their number, so the normalised texts of
// two statements always differ.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "wirebuf.h"

namespace tracegen {

// SQL type codes the generator uses (low byte of the type word).
enum TypeCode : int {
  kChar = 0,
  kSmallint = 1,
  kInt = 2,
  kFloat = 3,
  kSmallfloat = 4,
  kDecimal = 5,
  kDate = 7,
  kMoney = 8,
  kDatetime = 10,
  kVarchar = 13,
  kInt8 = 17,
  kUdtFixed = 41,
  kBigint = 52,
};
constexpr int kDistinct = 0x800;

struct ColumnDef {
  const char* name;
  int type;           // type word
  int length;         // the describe's length (and a value's precision word)
  int width;          // bytes in a fixed-width row
  const char* owner;  // extended types: owner and type name
  const char* typeName;
  int xid;     // extended type id
  int source;  // source type of a distinct type
};

// True when a column of this type word carries no extended block under the
// "no block for built-in types" capability.
bool builtinType(int type);
// True when a value of this type word travels with owner and type names.
bool namedValueType(int type, const Caps& protocolver);

enum class Kind { Select, SelectLiteral, Insert, Update, Delete };

struct Table {
  std::string name;
  std::vector<const ColumnDef*> cols;  // the first is always "id"
};

struct Statement {
  Kind kind;
  int table;
  std::vector<int> cols;    // selected or inserted columns (indexes into the table)
  std::vector<int> params;  // bound columns, in placeholder order
  bool upper;               // keywords written in upper case
  bool nameFilter;          // a literal SelectLiteral also filters on name
};

class Catalog {
 public:
  Catalog(uint64_t seed, int statements);
  const Statement& stmt(int k) const { return stmts_[k]; }
  const Table& table(const Statement& s) const { return tables_[s.table]; }
  int size() const { return static_cast<int>(stmts_.size()); }
  // The SQL text of statement k; literals are drawn from rng.
  std::string text(int k, Rng& rng) const;
  // Bytes of one fixed-width row of the columns.
  int rowWidth(const Statement& s) const;

 private:
  std::vector<Table> tables_;
  std::vector<Statement> stmts_;
};

}  // namespace tracegen
