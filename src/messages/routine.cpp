// User-defined routine lookups and calls.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeRetType(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeGetRoutine(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeExFpRoutine(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFpRoutine(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFparam(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFpProcInfo(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeGetHierarchy(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeDrainMem(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeRemUtype(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeIdescribe(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeVput(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
