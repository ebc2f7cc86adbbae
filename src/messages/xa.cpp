// Distributed and XA transactions.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeXid(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeXopen(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeXrecover(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeXerr(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeSetGtrid(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeMiscFlags(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeTxState(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeDistFetch(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeReassoc(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeXactStat(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeRemDml(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
