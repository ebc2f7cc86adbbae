// Session set-up: information records, versions, capabilities, PAM, savepoints.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeNls(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeServerOwner(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeUuid(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeInternalVer(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeProtocols(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeInfo(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeAccept(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeAck(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeChallenge(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeResponse(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeSavepoint(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
