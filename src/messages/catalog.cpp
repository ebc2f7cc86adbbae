// Message types whose layout is not known: the remote-catalog messages and
// two describe variants. Their bytes are shown so nothing is hidden, and the
// decode goes on with the next packet, since where the message ends is not
// known either.
#include "driver/cursor.h"
#include "driver/msgtable.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "values/text.h"

namespace wp {

void decodeUnknownLayout(Run& run, Cursor& cur) {
  int16_t type = run.dec.msgtype;
  run.em.error(
      "\nERROR: Layout of message type %hd (%s) is not known; the rest of the packet follows "
      "undecoded.  Reset message to skip forward to next packet!\n",
      type, sqmsgname(type));
  hexdump(cur, cur.left > 0 ? cur.left : 0, "data");
  cur.drop();
}

}  // namespace wp
