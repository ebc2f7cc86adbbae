// Message types whose layout is not known.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeUnknownLayout(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
