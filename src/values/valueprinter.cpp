#include "values/valueprinter.h"

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/dispatch.h"

namespace wp {

// Not built yet: the message holding the values is reported and skipped.
void printvalues(Cursor& cur, int32_t count) {
  if (count != 0) notDecoded(cur.run, cur);
}
void printextdtypeinfo(Cursor& cur, int) {
  if (cur.run.caps.sub_sprotocolver.has(50)) notDecoded(cur.run, cur);
}
void printnonbuiltininfo(Cursor& cur, int, const char*) {
  if (cur.run.caps.sub_sprotocolver.has(50)) notDecoded(cur.run, cur);
}

int istypesupportedinxsrv(const uint8_t*, int type, int) {
  int code = type & 0xff;
  return code < 19 || code == 42 || (code >= 51 && code <= 53);
}

}  // namespace wp
