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
// The end of a transmission. Back on the side that started a file read, the
// read is over; a file write whose data was flowing has all of it now.
void decodeEot(Run& run, Cursor& cur) {
  const char* d = run.rd.msgdir;
  if (cur.fileRead && d[0] == run.dec.fdir[0] && d[1] == run.dec.fdir[1]) cur.fileRead = false;
  run.lob.eot();
}

}  // namespace wp
