#include "messages/capabilities.h"

namespace wp {

namespace {

// Bytes 1 and 2 of the set each internal version 300..310 implies; byte 0 is
// always 0x3c. Each version adds to the one before; byte 1's 0x40 is never set.
struct VersionBits {
  uint8_t b1, b2;
};
constexpr VersionBits kVersionBits[] = {
    {0x00, 0x00},  // 300
    {0x00, 0x00},  // 301
    {0x00, 0x00},  // 302
    {0x80, 0x00},  // 303
    {0xa0, 0x00},  // 304
    {0xb0, 0x00},  // 305
    {0xb8, 0x00},  // 306
    {0xbc, 0x00},  // 307
    {0xbe, 0x00},  // 308
    {0xbf, 0x00},  // 309
    {0xbf, 0x80},  // 310
};

}  // namespace

void Capabilities::setInternalVersion(int32_t v) {
  internalver = v;
  bool same = v == previnternalver;
  previnternalver = v;
  if (same) return;
  if (v == 305 && protocolver.b[0] != 0) return;
  protocolver.clear();
  client_protocolver.clear();
  co_sprotocolver.clear();
  sub_sprotocolver.clear();
  if (v >= 300 && v <= 310) {
    protocolver.b[0] = 0x3c;
    protocolver.b[1] = kVersionBits[v - 300].b1;
    protocolver.b[2] = kVersionBits[v - 300].b2;
  }
  transFloatType = v > 304 ? 1 : 0;
  sub_sprotocolver = protocolver;
  // From 316 on the next exchange is the client's own and sets the vector in
  // force; before it, exchanges are between coordinator and subordinate.
  numof_sqprotocols = v == 316 ? 0 : 2;
}

}  // namespace wp
