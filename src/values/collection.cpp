#include "values/collection.h"

#include "driver/cursor.h"
#include "driver/run.h"
#include "values/text.h"
#include "values/typename.h"

namespace wp {

namespace {

// Reads fields through the cursor as long as they end before `end`; the
// first field that would not fit names the error and stops all reading.
class Bounded {
 public:
  Bounded(Cursor& cur, int32_t end) : cur_(cur), end_(end) {}

  int16_t i16(const char* what) { return fits(2, what) ? cur_.i16() : 0; }
  // n bytes and the pad byte of an odd n.
  std::string bytes(int32_t n, const char* what) {
    if (!fits(n < 0 ? -1 : n + (n & 1), what)) return {};
    std::string s(static_cast<size_t>(n), '\0');
    cur_.getBytes(n, reinterpret_cast<uint8_t*>(s.data()));
    if (n & 1) cur_.advance(1);
    return s;
  }
  // A short length and its text.
  std::string text(const char* what) {
    int16_t n = i16(what);
    return bad_ ? std::string() : bytes(n, what);
  }
  bool fits(int32_t n, const char* what) {
    if (bad_) return false;
    if (n < 0 || end_ - cur_.pos < n) bad_ = what;
    return !bad_;
  }
  bool more() const { return !bad_ && cur_.pos < end_; }
  void setEnd(int32_t end) { end_ = end; }
  const char* bad() const { return bad_; }

 private:
  Cursor& cur_;
  int32_t end_;
  const char* bad_ = nullptr;
};

void readRow(Bounded& in, CollectionRow& r) {
  r.sequence = in.i16("sequence");
  r.level = in.i16("level");
  r.parent = in.i16("parent");
  r.fieldName = in.text("field name");
  r.fieldNo = in.i16("field number");
  r.type = in.i16("row type");
  r.length = in.i16("row length");
  r.xid = in.i16("extended id");
  r.xtypeName = in.text("extended type name");
  r.xtypeOwner = in.text("extended type owner");
  r.alignment = in.i16("alignment");
  r.sourceType = in.i16("source type");
}

void readType(Bounded& in, CollectionType& t) {
  t.typeLength = in.i16("type length");
  t.typeId = in.i16("type id");
  t.typeName = in.bytes(t.typeLength, "type name");
  int16_t nrows = in.i16("type info rows");
  if (nrows < 0) in.fits(-1, "type info rows");
  // Rows are added as their bytes are read, so a wild count cannot allocate
  // beyond what the header holds.
  for (int16_t i = 0; i < nrows && !in.bad(); ++i) readRow(in, t.rows.emplace_back());
}

void printType(Run& run, const CollectionType& t) {
  Emit& em = run.em;
  em.open("collection_type");
  em.field("type_length", t.typeLength, "\t\t\tType length: %hd\n", t.typeLength);
  em.field("type_id", t.typeId, "\t\t\tType id....: %hd\n", t.typeId);
  em.field("type_name", t.typeName.c_str(), "\t\t\tType name..: \"%*.*s\" [%d]\n", t.typeLength,
           t.typeLength, t.typeName.c_str(), t.typeLength);
  auto nrows = static_cast<int16_t>(t.rows.size());
  em.field("n_type_info_rows", nrows, "\t\t\t# of type info rows..: %hd\n", nrows);
  em.open("type_info", Emit::kList);
  int r = 0;
  for (const CollectionRow& row : t.rows) {
    em.open(nullptr);
    em.text("\t\t\t    Type info %d)\n", r++);
    em.field("sequence", row.sequence, "\t\t\t\tSequence #.: %hd\n", row.sequence);
    em.field("level", row.level, "\t\t\t\tLevel #....: %hd\n", row.level);
    em.field("parent", row.parent, "\t\t\t\tParent #...: %hd\n", row.parent);
    int fl = static_cast<int>(row.fieldName.size());
    em.field("field_name", row.fieldName.c_str(), "\t\t\t\tField name.: \"%*.*s\" [%d]\n", fl, fl,
             row.fieldName.c_str(), fl);
    em.field("field_no", row.fieldNo, "\t\t\t\tField #....: %hd\n", row.fieldNo);
    printtypename(run, row.type, "\t\t\t\tType #....: ");
    em.field("length", row.length, "\n\t\t\t\tLength #...: %hd (0x%x)\n", row.length,
             static_cast<unsigned>(row.length));
    // The extended id is shown twice, as its own line and as the flags.
    em.field("extend_id", row.xid, "\t\t\t\tExtend ID..: %hd\n", row.xid);
    em.field("flags", row.xid, "\t\t\t\tFlags......: %hd\n", row.xid);
    int nl = static_cast<int>(row.xtypeName.size());
    em.field("xtype_name", row.xtypeName.c_str(), "\t\t\t\tXType name.: \"%*.*s\" [%d]\n", nl, nl,
             row.xtypeName.c_str(), nl);
    int ol = static_cast<int>(row.xtypeOwner.size());
    em.field("xtype_owner", row.xtypeOwner.c_str(), "\t\t\t\tXType owner: \"%*.*s\" [%d]\n", ol, ol,
             row.xtypeOwner.c_str(), ol);
    em.field("alignment", row.alignment, "\t\t\t\talignment..: %hd\n", row.alignment);
    em.field("source_type", row.sourceType, "\t\t\t\tsource type: %hd\n", row.sourceType);
    em.close();
    run.out.flush();
  }
  em.close();
  em.close();
}

}  // namespace

const char* ldcollection(Cursor& cur, int32_t total, Collection& out) {
  int32_t start = cur.pos;
  Bounded in(cur, start + total);
  out.handle = in.i16("handle");
  out.dataLength = in.i16("data length");
  if (out.dataLength < 0) in.fits(-1, "data length");
  out.flags = in.i16("flags");
  if (in.bad()) return in.bad();
  int32_t headerEnd = start + total - out.dataLength;
  if (headerEnd < cur.pos) return "data length";
  in.setEnd(headerEnd);
  out.ntypes = 0;
  do {
    readType(in, out.types[out.ntypes++]);
  } while (out.ntypes < 2 && in.more());
  if (in.bad()) return in.bad();
  out.dataAt = headerEnd;
  return nullptr;
}

bool printcollection(Cursor& cur) {
  Run& run = cur.run;
  Emit& em = run.em;
  em.text("\n");
  int32_t total = cur.i32();
  auto shownTotal = static_cast<int16_t>(total);
  if (!run.opt.min) em.field("data_length", shownTotal, "\t\t\tData length: %hd\n", shownTotal);
  if (total > 0 && cur.left <= 0) cur.nextPacket();
  if (total < 0 || total > cur.left) {
    em.error(
        "\nERROR: Collection value of %d bytes does not fit the %d bytes left in the packet.  "
        "Reset message to skip forward to next packet!\n",
        total, cur.left);
    cur.drop();
    return false;
  }
  int32_t start = cur.pos;
  Collection c;
  if (const char* bad = ldcollection(cur, total, c)) {
    em.error(
        "\nERROR: Collection header runs past its %d bytes at the %s.  Reset message to skip "
        "forward to next packet!\n",
        total, bad);
    cur.drop();
    return false;
  }
  // A fetched row is described by the first type; a value sent to the server
  // by the second when there is one.
  bool fetched = run.dec.isReply(run.dec.msgtype);
  const CollectionType& t = c.types[!fetched && c.ntypes > 1 ? 1 : 0];
  if (!run.opt.min) {
    em.field("handle", c.handle, "\t\t\tHandle.....: %hd\n", c.handle);
    em.field("element_data_length", c.dataLength, "\t\t\tData length: %hd\n", c.dataLength);
    em.field("flags", c.flags, "\t\t\tFlags......: %hd\n", c.flags);
    printType(run, t);
  }
  cur.advance(c.dataAt - cur.pos);
  hexdump(cur, c.dataLength, "data");
  // The value ends where its total length says, whatever the dump skipped.
  cur.advance(start + total - cur.pos);
  return true;
}

}  // namespace wp
