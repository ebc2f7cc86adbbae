// Smart large objects and client file transfers.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeRelColl(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeLodata(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFile(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFileRead(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFileWrite(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
