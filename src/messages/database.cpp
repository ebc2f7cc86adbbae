// Database lists, opens, isolation levels and server versions.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeDblist(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeDbopen(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeIsolevel(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeVersion(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
