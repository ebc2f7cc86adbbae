// Named connections of a client thread.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeConnection(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
