// Statements, cursors, rows, completion and errors.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "driver/cursor.h"
#include "driver/run.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"
#include "stats/stmtstats.h"
#include "stats/summary.h"
#include "stats/timing.h"
#include "values/codeset.h"
#include "values/text.h"
#include "values/textforms.h"
#include "values/valueprinter.h"
#include "values/wire.h"

namespace wp {

namespace {

enum : int16_t {
  kCommand = 1,
  kPrepare = 2,
  kOpen = 6,
  kExecute = 7,
  kClose = 10,
  kExselect = 16,
  kReoptopen = 87,
};

// Capability bits of the statement messages (in protocolver).
enum : int {
  kLongPutRowSize = 3,
  kLongTupleLength = 5,
  kFetchArray = 14,
  kFetchArrayToo = 15,
  kLongBufferSize = 21,  // also the PUT row count
  kBigserial = 49,
  kExtendedTypes = 50,  // in co_sprotocolver and sub_sprotocolver
  kLongBufferSizeToo = 56,
  kLongTextLength = 57,  // also the ERR offset
};

// A fetch buffer size is a long once either bit announces it.
bool longBufferSize(const Run& run) {
  return run.caps.protocolver.has(kLongBufferSize) || run.caps.protocolver.has(kLongBufferSizeToo);
}

// Fixed-size fields read through the refill step into a local copy, so that
// the loaders never look past the packet.
template <int N>
void readField(Cursor& cur, uint8_t (&dst)[N]) {
  cur.need(N);
  for (auto& b : dst) b = cur.u8();
}

// TUPLE reads its long through getBytes, which follows the packets byte-wise.
int32_t getLong(Cursor& cur) {
  uint8_t b[4];
  cur.getBytes(4, b);
  return ldlong(b);
}

// The statement's own counter in the summary.
int32_t* counterOf(Run& run, int16_t type) {
  SummaryCounters& s = run.sum;
  switch (type) {
    case kOpen:
      return &s.opens;
    case kExecute:
      return &s.executes;
    case kClose:
      return &s.closes;
    case kExselect:
      return &s.selects;
    case kReoptopen:
      return &s.reopt;
    default:
      return nullptr;
  }
}

// PUT data: every row is padded to an even size, so 3 rows of 5 bytes take 18.
int32_t putDataSize(int32_t rowSize, int32_t rows) {
  int64_t even = (int64_t{rowSize} + 1) & ~int64_t{1};
  return static_cast<int32_t>(std::clamp<int64_t>(even * rows, INT32_MIN, INT32_MAX));
}

// After an error -937 or 0: the SQLSTATE and the MI error message. The text
// is gathered from the packets that hold it and printed like "%*.*s" (a
// negative length has no text: blanks to the width); its pad byte goes by
// its part in the last packet.
void miError(Run& run, Cursor& cur, bool signedLength) {
  printstring(cur, 5, "\t\tSQLSTATE...........:", 1, "sqlstate");
  int32_t len = signedLength ? cur.i16() : cur.u16();
  if (!run.opt.min) run.em.text("\t\tMI error message...: ");
  std::string text;
  int32_t lastPart = cur.gather(len, text);
  if (!run.opt.min)
    run.em.field("mi_error_message", text.c_str(), "\"%*.*s\" [%d]\n", len, len, text.c_str(), len);
  cur.padAfter(lastPart);
}

bool carriesSqlstate(int16_t sqlerr) {
  return sqlerr == -937 || sqlerr == 0;
}

}  // namespace

// COMMAND, PREPARE and DPREPARE: the statement text.
void decodeStatementText(Run& run, Cursor& cur) {
  int16_t nvalues = cur.i16();
  if (!run.opt.min) run.em.field("n_values", nvalues, "\t\t# values: %hd\n", nvalues);
  int32_t len = run.caps.protocolver.has(kLongTextLength) ? cur.i32() : cur.u16();
  if (cur.left == 0) cur.nextPacket();  // the text begins in the next packet
  printstring(cur, len, "\t\tCMD.....:", 1, "cmd");

  // printstring leaves the whole raw text in the run's text buffer.
  const std::string raw = run.textbuf;
  recordCommand(run, raw.data(), len, run.dec.msgtype == kCommand ? 0 : 1);
  const char* text = raw.c_str();
  auto textLen = static_cast<int32_t>(raw.size());
  if (convertsRead(run)) {
    int32_t n = docsc(run, raw.data(), textLen);
    if (n > 0) {
      text = run.cs.rubuf.data();
      textLen = n;
    }
  }
  statementText(run, text, textLen);
  if (run.dec.msgtype == kPrepare) ++run.sum.prepares;
}

void decodeSgkPrepare(Run& run, Cursor& cur) {
  int16_t nvalues = cur.i16();
  if (!run.opt.min) run.em.field("n_values", nvalues, "\t\t# values: %hd\n", nvalues);
  statementText(run, "", 0);  // the text travelled earlier
  ++run.sum.prepares;
}

void decodeCurname(Run&, Cursor& cur) {
  int16_t len = cur.i16();
  printstring(cur, len, "\t\t", 1, "cursor_name");
}

void decodeId(Run& run, Cursor& cur) {
  int16_t id = cur.i16();
  run.em.field("statement_id", id, "\t\t%hd\n", id);
  serverStatementId(run, id, false);
}

void decodeBind(Run& run, Cursor& cur) {
  int16_t nvalues = cur.i16();
  if (!run.opt.min) run.em.field("n_values", nvalues, "\t\t# values: %hd\n", nvalues);
  const Capabilities& caps = run.caps;
  if (nvalues != 0 && caps.co_sprotocolver.has(kExtendedTypes) &&
      caps.sub_sprotocolver.has(kExtendedTypes))
    printextdtypeinfo(cur, 0);
  printvalues(cur, nvalues);
}

// OPEN, EXECUTE, CLOSE, EXSELECT and REOPTOPEN carry nothing but are counted.
void decodeCounter(Run& run, Cursor& cur) {
  if (int32_t* counter = counterOf(run, run.dec.msgtype)) ++*counter;
  if (run.dec.msgtype == kOpen) cur.openSeen = true;
}

void decodeNfetch(Run& run, Cursor& cur) {
  const bool quiet = run.opt.min;
  if (longBufferSize(run)) {
    int32_t size = cur.i32();
    if (!quiet) run.em.field("tuple_buffer_size", size, "\t\tTuple buffer size: %d\n", size);
  } else {
    int16_t size = cur.i16();
    if (!quiet) run.em.field("tuple_buffer_size", size, "\t\tTuple buffer size: %hd\n", size);
  }
  if (run.caps.protocolver.has(kFetchArray) || run.caps.protocolver.has(kFetchArrayToo)) {
    int16_t array = cur.i16();
    if (!quiet) run.em.field("fetch_array_size", array, "\t\tFetch Array  size: %hd\n", array);
  }
  // An OPEN in the same packet: the client deferred it to the first fetch.
  if (cur.openSeen) ++run.sum.open_saved;
}

void decodeSfetch(Run& run, Cursor& cur) {
  const bool quiet = run.opt.min;
  int16_t scroll = cur.i16();
  if (!quiet) run.em.field("scroll_direction", scroll, "\t\tScroll direction: %hd\n", scroll);
  int32_t offset = cur.i32();
  if (!quiet) run.em.field("offset", offset, "\t\tOffset..........: %d\n", offset);
  if (longBufferSize(run)) {
    int32_t size = cur.i32();
    if (!quiet) run.em.field("fe_buffer_size", size, "\t\tFE Buffer size..: %d\n", size);
  } else {
    int16_t size = cur.i16();
    if (!quiet) run.em.field("fe_buffer_size", size, "\t\tFE Buffer size..: %hd\n", size);
  }
}

// TUPLE and SGKTUPLE: one row of the fetch.
void decodeTuple(Run& run, Cursor& cur) {
  const bool quiet = run.opt.min;
  run.dec.setReply(run.dec.msgtype, true);  // the value printer reads rows now
  int16_t warnings = cur.getShort();
  if (!quiet) run.em.field("n_warnings", warnings, "\t\t# Warnings..: %hd\n", warnings);
  int32_t len;
  if (run.caps.protocolver.has(kLongTupleLength)) {
    len = getLong(cur);
    if (!quiet) run.em.field("tuple_length", len, "\t\tTuple length: %d\n", len);
  } else {
    int16_t shortLen = cur.getShort();
    len = shortLen;
    if (!quiet) run.em.field("tuple_length", shortLen, "\t\tTuple length: %hd\n", shortLen);
  }
  if (run.opt.dump_tuple)
    hexdump(cur, len);
  else
    cur.skip(len);
  ++run.sum.fetch_count;
  run.sum.fetch_bytes += len;
}

void decodeDone(Run& run, Cursor& cur) {
  const bool quiet = run.opt.min;
  int16_t warn = cur.i16();
  auto warnBits = static_cast<uint16_t>(warn);
  if (!quiet) run.em.field("warning", warnBits, "\t\tWarning..: 0x%hx\n", warnBits);
  int32_t rows = cur.i32();
  if (!quiet) run.em.field("n_rows", rows, "\t\t# rows...: %d\n", rows);
  int32_t rowid = cur.i32();
  if (!quiet) run.em.field("rowid", rowid, "\t\trowid....: %d\n", rowid);
  int32_t serial = cur.i32();
  if (!quiet) run.em.field("serial_id", serial, "\t\tserial id: %d\n", serial);
}

void decodeErr(Run& run, Cursor& cur) {
  int16_t sqlerr = cur.i16();
  run.em.field("sql_error", sqlerr, "\t\tSQL error..........: %hd\n", sqlerr);
  int16_t isam = cur.i16();
  run.em.field("isam_error", isam, "\t\tISAM/RSAM error....: %hd\n", isam);
  if (run.an) run.an->sqlError(sqlerr, isam);
  // A long offset prints by its low 16 bits, as the short one always did.
  int32_t offset = run.caps.protocolver.has(kLongTextLength) ? cur.i32() : cur.i16();
  auto low = static_cast<int16_t>(offset & 0xffff);
  run.em.field("offset_in_statement", low, "\t\tOffset in statement: %hd\n", low);
  int16_t len = cur.i16();
  printstring(cur, len, "\t\tError message......:", 1, "error_message");
  if (carriesSqlstate(sqlerr)) miError(run, cur, false);
  run.dec.clearDirections();
}

void decodePutErr(Run& run, Cursor& cur) {
  int32_t rows = cur.i32();
  run.em.field("n_rows_inserted", rows, "\t\t# rows inserted......: %d\n", rows);
  int16_t sqlerr = cur.i16();
  run.em.field("sql_error", sqlerr, "\t\tSQL error..........: %hd\n", sqlerr);
  int16_t isam = cur.i16();
  run.em.field("isam_error", isam, "\t\tISQM/RSAM error......: %hd\n", isam);
  int16_t offset = cur.i16();
  run.em.field("offset_in_statement", offset, "\t\tOffset into statement: %hd\n", offset);
  int16_t len = cur.i16();
  printstring(cur, len, "\t\tError message......:", 1, "error_message");
  if (carriesSqlstate(sqlerr)) miError(run, cur, true);
  run.dec.clearDirections();
}

void decodePut(Run& run, Cursor& cur) {
  const bool quiet = run.opt.min;
  const CapVector& pv = run.caps.protocolver;
  int32_t rowSize;
  if (pv.has(kLongPutRowSize)) {
    rowSize = cur.i32();
    if (!quiet) run.em.field("size_of_data_row", rowSize, "\t\tSize of data row: %d\n", rowSize);
  } else {
    int16_t s = cur.i16();
    rowSize = s;
    if (!quiet) run.em.field("size_of_data_row", s, "\t\tSize of data row: %hd\n", s);
  }
  int32_t rows;
  if (pv.has(kLongBufferSize)) {
    rows = cur.i32();
    if (!quiet) run.em.field("n_rows", rows, "\t\t# rows..........: %d\n", rows);
  } else {
    int16_t r = cur.i16();
    rows = r;
    if (!quiet) run.em.field("n_rows", r, "\t\t# rows..........: %hd\n", r);
  }
  // Each row counts as a message of its own in the statement statistics.
  if (run.opt.stmtstats && rows > 1)
    store_prev(run, run.dec.msgtype, run.thr.cur->index, run.thr.cur->stmtid, rows - 1);
  int32_t data = putDataSize(rowSize, rows);
  if (run.opt.dump_tuple)
    hexdump(cur, data);
  else
    cur.skip(data);
  ++run.sum.put_count;
  run.sum.put_bytes += data;
}

void decodeRbwork(Run& run, Cursor& cur) {
  int16_t savepoint = cur.i16();
  if (!run.opt.min) run.em.field("savepoint", savepoint, "\t\tSavepoint: %hd\n", savepoint);
}

void decodeTupid(Run& run, Cursor& cur) {
  int32_t rowid = cur.i32();
  if (!run.opt.min) run.em.field("first_rowid", rowid, "\t\tFirst rowid: %d\n", rowid);
}

void decodeCost(Run& run, Cursor& cur) {
  int32_t rows = cur.i32();
  if (!run.opt.min) run.em.field("estimated_n_rows", rows, "\t\testimated #rows: %d\n", rows);
  int32_t io = cur.i32();
  if (!run.opt.min) run.em.field("estimated_io", io, "\t\testimated I/O..: %d\n", io);
}

void decodeFetArrSize(Run& run, Cursor& cur) {
  int16_t size = cur.i16();
  if (!run.opt.min) run.em.field("fetch_array_size", size, "\t\t%hd\n", size);
  ++run.sum.opt_stats_ptr;
  run.sum.fetarr_sum += size;
}

void decodeInsertDone(Run& run, Cursor& cur) {
  uint8_t wire[10];
  readField(cur, wire);
  Int8 serial8;
  ldint8(wire, &serial8);
  char text[80] = "";  // a failed conversion prints it empty
  ovb_int8tostr(&serial8, text, sizeof text);
  // JSON has the number; a value that has no text form is null.
  Value serial = text[0] ? Value(static_cast<int64_t>(strtoll(text, nullptr, 10))) : Value();
  run.em.field("serial8", serial, "\t\t%s\n", text);
  if (run.caps.protocolver.has(kBigserial)) {
    uint8_t big[8];
    readField(cur, big);
    int64_t bigserial;
    ldbigint(&bigserial, big);
    run.em.field("bigserial", bigserial, "\tBigserial:%ld\n", static_cast<long>(bigserial));
  }
}

void decodeFetchBlob(Run& run, Cursor& cur) {
  constexpr int32_t kDescriptor = 56;  // large-object descriptor
  if (run.opt.blob_hex)
    cur.padAfter(hexdump(cur, kDescriptor));
  else
    cur.skipPadded(kDescriptor);
}

void decodeBlob(Run& run, Cursor& cur) {
  int16_t n = cur.i16();
  if (!run.opt.min) run.em.field("blob_bytes", n, "\t\t<%hd bytes of BLOB DATA>\n", n);
  if (run.opt.blob_hex)
    cur.padAfter(hexdump(cur, n));
  else
    cur.skipPadded(n);
  if (n == 0) return;
  SummaryCounters& s = run.sum;
  if (run.rd.dirLetter == 'c') {
    ++s.blob_put_count;
    s.blob_put_bytes += n;
  } else {
    ++s.blob_fetch_count;
    s.blob_fetch_bytes += n;
  }
}

void decodeBbind(Run& run, Cursor& cur) {
  int16_t blobs = cur.i16();
  if (!run.opt.min) run.em.field("n_blobs", blobs, "\t\t#blobs: %hd\n", blobs);
}

// The end of a transmission. Back on the side that started a file read, the
// read is over; a file write whose data was flowing has all of it now.
void decodeEot(Run& run, Cursor& cur) {
  const char* d = run.rd.msgdir;
  if (cur.fileRead && d[0] == run.dec.fdir[0] && d[1] == run.dec.fdir[1]) cur.fileRead = false;
  run.lob.eot();
}

}  // namespace wp
