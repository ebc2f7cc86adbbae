// Collection and row values (SET, MULTISET, LIST, ROW, COLLECTION and client
// collections). After its 4-byte total length, such a value is a header and
// the element data, all big-endian:
//
//   handle          short
//   data length     short   bytes of element data at the end of the value
//   flags           short
//   type descriptor, once or twice (see below)
//     type length   short   bytes of the type name
//     type id       short
//     type name     type length bytes, a pad byte when odd
//     # rows        short   type information rows
//     per row:
//       sequence    short
//       level       short
//       parent      short
//       field name  short length, the bytes, a pad byte when odd
//       field #     short
//       type        short   SQL type word
//       length      short
//       extended id short
//       xtype name  short length, the bytes, a pad byte when odd
//       xtype owner short length, the bytes, a pad byte when odd
//       alignment   short
//       source type short
//   element data    data length bytes
//
// The header takes the total length less the data length. A second type
// descriptor follows the first when header bytes remain after it; bytes after
// the second are ignored. A value must lie within one packet, and every count
// and length must fit the bytes of its header: otherwise the value is
// reported and the rest of the packet is skipped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wp {

class Cursor;

struct CollectionRow {
  int16_t sequence = 0, level = 0, parent = 0;
  std::string fieldName;
  int16_t fieldNo = 0, type = 0, length = 0, xid = 0;
  std::string xtypeName, xtypeOwner;
  int16_t alignment = 0, sourceType = 0;
};

struct CollectionType {
  int16_t typeLength = 0, typeId = 0;
  std::string typeName;
  std::vector<CollectionRow> rows;
};

struct Collection {
  int16_t handle = 0, dataLength = 0, flags = 0;
  CollectionType types[2];
  int ntypes = 0;
  int32_t dataAt = 0;  // packet offset of the element data
};

// Reads the header of a collection value of `total` bytes that starts at the
// cursor and lies within the current packet. Returns nullptr and leaves the
// cursor inside the value, or the name of the first field that does not fit.
const char* ldcollection(Cursor& cur, int32_t total, Collection& out);

// The data of a collection value after its type line, indicator, precision
// and data label: total length, header, element data. Returns false when the
// value did not fit: an error line was printed and the packet dropped.
bool printcollection(Cursor& cur);

}  // namespace wp
