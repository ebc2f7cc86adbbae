// Statements, cursors, rows, completion and error replies.
#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {

void decodeStatementText(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeSgkPrepare(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeCurname(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeId(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeBind(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeCounter(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeNfetch(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeSfetch(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeTuple(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeDone(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeErr(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodePutErr(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodePut(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeRbwork(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeTupid(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeCost(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFetArrSize(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeInsertDone(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeFetchBlob(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeBlob(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeBbind(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}
void decodeEot(Run& run, Cursor& cur) {
  notDecoded(run, cur);
}

}  // namespace wp
