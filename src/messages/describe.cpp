// Column descriptions of prepared statements.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeDescribe(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
