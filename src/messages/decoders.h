// Message decoders, one family a file. Each is entered after the dispatcher
// printed the message's name line, reads its fields through the cursor and
// returns with the cursor just past the message.
#pragma once

namespace wp {

struct Run;
class Cursor;

// dispatch.cpp: the forty types without a body.
void decodeNone(Run&, Cursor&);

// statement.cpp: statements, cursors, rows, completion and errors.
void decodeStatementText(Run&, Cursor&);  // COMMAND, PREPARE, DPREPARE
void decodeSgkPrepare(Run&, Cursor&);
void decodeCurname(Run&, Cursor&);
void decodeId(Run&, Cursor&);
void decodeBind(Run&, Cursor&);
void decodeCounter(Run&, Cursor&);  // OPEN, EXECUTE, CLOSE, EXSELECT, REOPTOPEN
void decodeNfetch(Run&, Cursor&);
void decodeSfetch(Run&, Cursor&);
void decodeTuple(Run&, Cursor&);  // TUPLE, SGKTUPLE
void decodeDone(Run&, Cursor&);
void decodeErr(Run&, Cursor&);
void decodePutErr(Run&, Cursor&);
void decodePut(Run&, Cursor&);
void decodeRbwork(Run&, Cursor&);
void decodeTupid(Run&, Cursor&);
void decodeCost(Run&, Cursor&);
void decodeFetArrSize(Run&, Cursor&);
void decodeInsertDone(Run&, Cursor&);
void decodeFetchBlob(Run&, Cursor&);
void decodeBlob(Run&, Cursor&);
void decodeBbind(Run&, Cursor&);
void decodeEot(Run&, Cursor&);

// describe.cpp
void decodeDescribe(Run&, Cursor&);  // DESCRIBE, SGKDESCRIBE

// database.cpp
void decodeDblist(Run&, Cursor&);
void decodeDbopen(Run&, Cursor&);
void decodeIsolevel(Run&, Cursor&);
void decodeVersion(Run&, Cursor&);

// connection.cpp
void decodeConnection(Run&, Cursor&);  // CONNECT, SETCONN, DISCONNECT

// session.cpp
void decodeNls(Run&, Cursor&);
void decodeServerOwner(Run&, Cursor&);
void decodeUuid(Run&, Cursor&);
void decodeInternalVer(Run&, Cursor&);
void decodeProtocols(Run&, Cursor&);
void decodeInfo(Run&, Cursor&);
void decodeAccept(Run&, Cursor&);
void decodeAck(Run&, Cursor&);
void decodeChallenge(Run&, Cursor&);
void decodeResponse(Run&, Cursor&);
void decodeSavepoint(Run&, Cursor&);  // SQLISETSVPT, SQLIRELSVPT, SQLIRBACKSVPT

// xa.cpp
void decodeXid(Run&, Cursor&);    // XROLLBACK, XCOMMIT, XEND, XFORGET, XPREPARE, XSTART, XASTATE
void decodeXopen(Run&, Cursor&);  // XOPEN, XCLOSE
void decodeXrecover(Run&, Cursor&);
void decodeXerr(Run&, Cursor&);
void decodeSetGtrid(Run&, Cursor&);
void decodeMiscFlags(Run&, Cursor&);
void decodeTxState(Run&, Cursor&);
void decodeDistFetch(Run&, Cursor&);
void decodeReassoc(Run&, Cursor&);
void decodeXactStat(Run&, Cursor&);
void decodeRemDml(Run&, Cursor&);

// routine.cpp
void decodeRetType(Run&, Cursor&);
void decodeGetRoutine(Run&, Cursor&);   // GETROUTINE, DGETROUTINE
void decodeExFpRoutine(Run&, Cursor&);  // EXFPROUTINE, DEXFPROUTINE
void decodeFpRoutine(Run&, Cursor&);
void decodeFparam(Run&, Cursor&);  // FPARAM, DFPARAM
void decodeFpProcInfo(Run&, Cursor&);
void decodeGetHierarchy(Run&, Cursor&);
void decodeDrainMem(Run&, Cursor&);  // DRAIN_MEM, CALLBACK
void decodeRemUtype(Run&, Cursor&);
void decodeIdescribe(Run&, Cursor&);
void decodeVput(Run&, Cursor&);

// lob.cpp: smart large objects and client files.
void decodeRelColl(Run&, Cursor&);
void decodeLodata(Run&, Cursor&);
void decodeFile(Run&, Cursor&);
void decodeFileRead(Run&, Cursor&);
void decodeFileWrite(Run&, Cursor&);

// catalog.cpp: types whose layout is not known.
void decodeUnknownLayout(Run&, Cursor&);

}  // namespace wp
