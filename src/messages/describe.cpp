// Column descriptions of prepared statements.
#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"
#include "stats/stmtstats.h"
#include "values/codeset.h"
#include "values/typename.h"
#include "values/valueprinter.h"

namespace wp {

namespace {

constexpr int16_t kDprepare = 42;

// Capability bits of the describe (in the mask chosen per packet).
enum : int {
  kNewLayout = 5,
  kCheckServerTypes = 50,  // with a DPREPARE packet: unsupported built-ins get the block
  kLongStringIndex = 53,
  kNoBuiltinBlock = 54,
};

const char kTypeLabel[] = "\t\t\tType....................: ";

// The type codes the server knows without an extended description.
bool builtin(int type) {
  int code = type & 0xff;
  return (code <= 18 || code == 42 || (code >= 51 && code <= 53)) && !(type & kTypeDistinct);
}

struct Column {
  int32_t index = 0;  // into the string table
  int32_t offset = 0;
  int16_t type = 0;
  bool extended = false;
  int32_t xid = 0;
  int16_t ownerLen = 0;
  std::string owner;
  int16_t typeNameLen = 0;
  std::string typeName;
  int16_t byRef = 0;
  int16_t align = 0;
  int32_t sourceType = 0;
  int32_t length = 0;
};

// A name of the extended block: len bytes, then a pad byte when len is odd.
std::string readName(Cursor& cur, int16_t len) {
  if (len <= 0) return {};
  std::string s(static_cast<size_t>(len), '\0');
  cur.getBytes(len, reinterpret_cast<uint8_t*>(s.data()));
  if (len & 1) cur.skip(1);
  s.resize(s.find('\0') == std::string::npos ? s.size() : s.find('\0'));
  return s;
}

// The next zero-terminated name of the string table, followed into further
// packets when it runs past the end of this one.
std::string readCString(Cursor& cur) {
  std::string s;
  for (;;) {
    uint8_t c;
    cur.getBytes(1, &c);
    if (c == 0) return s;
    s.push_back(static_cast<char>(c));
  }
}

class Describe {
 public:
  Describe(Run& run, Cursor& cur)
      : run_(run),
        cur_(cur),
        dprepare_(run.dec.prev_msgtype == kDprepare),
        mask_(dprepare_ ? run.caps.sub_sprotocolver : run.caps.protocolver),
        quiet_(run.opt.min != 0) {}

  void decode() {
    int16_t ncols = header();
    if (mask_.has(kNewLayout))
      newLayout(ncols);
    else
      oldLayout(ncols);
    run_.out.flush();
  }

 private:
  int16_t header() {
    Emit& em = run_.em;
    int16_t stmtType = cur_.i16();
    if (!quiet_) em.field("stmt_type", stmtType, "\t\tStmt Type...........: %hd\n", stmtType);
    int16_t id = cur_.i16();
    em.field("server_stmt_id", id, "\t\tServer Stmt Id......: %hd\n", id);
    serverStatementId(run_, id, true);
    int32_t cost = cur_.i32();
    if (!quiet_) em.field("estimated_cost", cost, "\t\tEstimated Cost......: %d\n", cost);
    int16_t tuple = cur_.i16();
    if (!quiet_) em.field("size_of_output_tuple", tuple, "\t\tSize of output tuple: %hd\n", tuple);
    int16_t ncols = cur_.i16();
    if (!quiet_) em.field("n_output_fields", ncols, "\t\t# output fields.....: %hd\n", ncols);
    uint32_t tableSize =
        mask_.has(kLongStringIndex) ? static_cast<uint32_t>(cur_.i32()) : cur_.u16();
    if (!quiet_)
      em.field("size_of_string_table", tableSize, "\t\tSize of string table: %u\n", tableSize);
    if (ncols != 0 && dprepare_) printextdtypeinfo(cur_, 0);
    return ncols;
  }

  // Four shorts per column, then the names. The names are read where they lie
  // after the descriptors and are not consumed.
  void oldLayout(int16_t ncols) {
    std::vector<std::string> names =
        inPlaceNames(8 * static_cast<int64_t>(std::max<int16_t>(ncols, 0)));
    size_t next = 0;
    Emit& em = run_.em;
    em.open("output_fields", Emit::kList);
    for (int i = 1; i <= ncols; ++i) {
      em.open(nullptr);
      const char* name = next < names.size() ? names[next++].c_str() : "";
      if (!quiet_) em.field("field", name, "\t\t%d) Field '%s'\n", i, name);
      uint16_t index = cur_.u16();
      if (!quiet_)
        em.field("index_into_string_table", index, "\t\t\tIndex into string table.: %d\n", index);
      int16_t offset = cur_.i16();
      if (!quiet_)
        em.field("starting_offset_in_tuple", offset, "\t\t\tStarting offset in tuple: %hd\n",
                 offset);
      printtypename(run_, cur_.i16(), kTypeLabel);
      int16_t length = cur_.i16();
      if (!quiet_)
        em.field("length", length, "\n\t\t\tLength..................: %hd (0x%x)\n", length,
                 static_cast<unsigned>(length));
      if (i < ncols) em.text("\n");
      em.close();
    }
    em.close();
  }

  // The zero-terminated names that lie `skip` bytes on in this packet; only
  // bytes of the packet count, a name cut by its end ends there.
  std::vector<std::string> inPlaceNames(int64_t skip) const {
    std::vector<std::string> names;
    int64_t inBuffer = static_cast<int64_t>(run_.rd.packet.size()) - cur_.pos;
    int64_t have = std::min<int64_t>(cur_.left, inBuffer) - skip;
    if (have <= 0) return names;
    const char* p = reinterpret_cast<const char*>(cur_.ptr()) + skip;
    const char* end = p + have;
    while (p < end) {
      const char* z = std::find(p, end, '\0');
      names.emplace_back(p, z);
      p = z + 1;
    }
    return names;
  }

  void newLayout(int16_t ncols) {
    std::vector<Column> cols;
    try {
      // Grown as descriptors arrive: a wild count cannot allocate ahead of
      // the bytes really present.
      for (int i = 0; i < ncols; ++i) cols.push_back(readColumn());
    } catch (const std::bad_alloc&) {
      outOfMemory();
      return;
    }
    run_.em.open("output_fields", Emit::kList);
    for (int i = 0; i < static_cast<int>(cols.size()); ++i) {
      run_.em.open(nullptr);
      printColumn(i, cols[i], readCString(cur_));
      run_.em.close();
    }
    run_.em.close();
  }

  Column readColumn() {
    Column c;
    c.index = mask_.has(kLongStringIndex) ? cur_.i32() : cur_.i16();
    c.offset = cur_.i32();
    c.type = cur_.i16();
    c.extended = hasExtendedBlock(c.type);
    if (c.extended) {
      c.xid = cur_.i32();
      c.ownerLen = cur_.i16();
      c.owner = readName(cur_, c.ownerLen);
      c.typeNameLen = cur_.i16();
      c.typeName = readName(cur_, c.typeNameLen);
      c.byRef = cur_.i16();
      c.align = cur_.i16();
      c.sourceType = cur_.i32();
    }
    c.length = cur_.i32();
    return c;
  }

  bool hasExtendedBlock(int type) const {
    if (!builtin(type) || !mask_.has(kNoBuiltinBlock)) return true;
    // In a DPREPARE packet, a built-in type the server cannot take is described.
    return dprepare_ && mask_.has(kCheckServerTypes) &&
           istypesupportedinxsrv(run_.caps.sub_sprotocolver.b, type, 0) == 0;
  }

  void printColumn(int i, const Column& c, std::string name) {
    if (convertsWrite(run_)) {
      int32_t n = dowrcsc(run_, name.c_str(), static_cast<int32_t>(name.size()));
      if (n > 0) name.assign(run_.cs.rubuf.data(), static_cast<size_t>(n));
    }
    Emit& em = run_.em;
    if (!quiet_) {
      em.field("field", name.c_str(), "\t\t%d) Field '%s'\n", i, name.c_str());
      em.field("index_into_string_table", c.index, "\t\t\tIndex into string table: %d\n", c.index);
      em.field("starting_offset_in_tuple", c.offset, "\t\t\tStarting offset in tuple: %d\n",
               c.offset);
    }
    printtypename(run_, c.type, kTypeLabel);
    if (quiet_) return;
    if (c.extended) {
      em.field("extended_id", c.xid, "\n\t\t\tExtended ID: %d\n", c.xid);
      em.field("owner_name_length", c.ownerLen, "\t\t\tOwner Name Length: %hd\n", c.ownerLen);
      if (c.ownerLen != 0)
        em.field("owner_name", c.owner.c_str(), "\t\t\tOwner Name: %s\n", c.owner.c_str());
      em.field("extended_type_name_length", c.typeNameLen, "\t\t\tExtended Type Name Length: %hd\n",
               c.typeNameLen);
      if (c.typeNameLen != 0)
        em.field("extended_type_name", c.typeName.c_str(), "\t\t\tExtended Type Name: %s\n",
                 c.typeName.c_str());
      em.field("pass_by_reference_flag", c.byRef, "\t\t\tPass By Reference Flag: %hd\n", c.byRef);
      em.field("alignment", c.align, "\t\t\tAlignment: %hd\n", c.align);
      em.field("source_type_for_distinct_type", c.sourceType,
               "\t\t\tSource Type for Distinct Type: %d\n", c.sourceType);
    }
    em.field("length", c.length, "\t\t\tLength : %d (0x%x)\n", c.length,
             static_cast<unsigned>(c.length));
  }

  void outOfMemory() {
    run_.em.error("\nERROR:  Out of Memory.  Reset message to skip forward to next packet!\n");
    cur_.drop();
  }

  Run& run_;
  Cursor& cur_;
  const bool dprepare_;
  const CapVector& mask_;
  const bool quiet_;
};

}  // namespace

// DESCRIBE and SGKDESCRIBE.
void decodeDescribe(Run& run, Cursor& cur) {
  Describe(run, cur).decode();
}

}  // namespace wp
