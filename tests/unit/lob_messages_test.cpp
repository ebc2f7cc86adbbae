#include <gtest/gtest.h>

#include <string>

#include "driver/cursor.h"
#include "driver/run.h"
#include "harness.h"
#include "messages/decoders.h"
#include "messages/dispatch.h"

namespace wp {
namespace {

using test::Harness;

const std::string kRule(80, '=');

enum Caps { kNone = 0, kLarge = 1, kFileSizes = 2 };

struct Setup {
  int caps = kNone;
  bool min = false;
  bool blob = false;
};

// Decodes every packet as the driver does, with the capabilities set by
// hand, and returns the listing after the first packet's header line.
std::string decodeAll(Harness& h, Setup s) {
  wp::Run& run = h.run();
  if (s.caps & kLarge) run.caps.protocolver.b[1] |= 0x02;
  if (s.caps & kFileSizes) run.caps.protocolver.b[5] |= 0x20;
  run.opt.min = s.min;
  run.opt.blob_hex = s.blob;
  EXPECT_TRUE(h.header());
  while (h.next() == 0) printpacket(run);
  std::string out = h.listing();
  size_t at = out.find("\t\t\t\n");
  return at == std::string::npos ? out : out.substr(at + 4);
}

std::string decode(const std::string& trace, Setup s = {}) {
  Harness h(trace);
  return decodeAll(h, s);
}

// ---- SQ_LODATA ----

TEST(LobLodata, RequestsByOperation) {
  struct Case {
    const char* name;
    const char* body;
    const char* lines;
  } cases[] = {
      {"write of total 0 reads one size", "short 2 short 5 long 0 short 100 short 0",
       "\t\t Optype : 2\n\t\t lofd :5\n\t\t Total Size: 0\n\t\t Chunk Size: 100\n\t\t Size: 0\n"},
      {"chunks up to the total",
       "short 2 short 1 long 7 short 4 short 4 text \"abcd\" short 3 text \"efg\" pad",
       "\t\t Optype : 2\n\t\t lofd :1\n\t\t Total Size: 7\n\t\t Chunk Size: 4\n"
       "\t\t Size: 4\n\t\t Size: 3\n"},
      {"a chunk of 0 stops at once", "short 2 short 1 long 7 short 4 short 0",
       "\t\t Optype : 2\n\t\t lofd :1\n\t\t Total Size: 7\n\t\t Chunk Size: 4\n\t\t Size: 0\n"},
      {"a negative chunk stops too", "short 2 short 1 long 7 short 4 short -1",
       "\t\t Optype : 2\n\t\t lofd :1\n\t\t Total Size: 7\n\t\t Chunk Size: 4\n\t\t Size: -1\n"},
      {"a negative total has no data part", "short 2 short 1 long -7 short 4",
       "\t\t Optype : 2\n\t\t lofd :1\n\t\t Total Size: -7\n\t\t Chunk Size: 4\n"},
      {"seek", "short 1 short 3 long 0 short 0 int8 -255 short 2",
       "\t\t Optype : 1\n\t\t lofd :3\n\t\t Total Size: 0\n\t\t Chunk Size: 0\n"
       "\t\t Offset: -ff\n\t\t Whence : 2\n"},
      {"a NULL offset has no text",
       "short 1 short 3 long 0 short 0 hex 0000 00000000 00000000 short 0",
       "\t\t Optype : 1\n\t\t lofd :3\n\t\t Total Size: 0\n\t\t Chunk Size: 0\n"
       "\t\t Offset: \n\t\t Whence : 0\n"},
      {"write at an offset", "short 3 short 3 long 2 short 2 int8 4096 short 0 short 2 text \"xy\"",
       "\t\t Optype : 3\n\t\t lofd :3\n\t\t Total Size: 2\n\t\t Chunk Size: 2\n"
       "\t\t Offset: 1000\n\t\t Whence : 0\n\t\t Size: 2\n"},
      {"other operations have no more", "short 0 short 3 long 2 short 2",
       "\t\t Optype : 0\n\t\t lofd :3\n\t\t Total Size: 2\n\t\t Chunk Size: 2\n"},
  };
  for (const auto& c : cases) {
    // A second message after it proves that exactly its bytes were read.
    std::string out =
        decode(std::string("CS { msg SQ_LODATA ") + c.body + " msg SQ_REMDML short 9 }\n");
    EXPECT_EQ(out, std::string("\tSQ_LODATA\n") + c.lines + "\tSQ_REMDML\n\t\tFlag..: 9\n")
        << c.name;
  }
}

TEST(LobLodata, RepliesByOperationAndWidth) {
  struct Case {
    const char* name;
    int caps;
    const char* body;
    const char* lines;
  } cases[] = {
      {"read", kNone, "short 0 long 5 short 3 text \"abc\" pad",
       "\t\t Optype : 0\n\t\t Total Size: 5\n\t\t Size : 3\n"},
      {"read, large", kLarge, "short 1 long 5 long 3 text \"abc\" pad",
       "\t\t Optype : 1\n\t\t Total Size: 5\n\t\t Size: 3\n"},
      {"negative total skips two bytes", kNone, "short 0 long -1 hex 0005",
       "\t\t Optype : 0\n\t\t Total Size: -1\n"},
      {"negative total replaced, large", kLarge, "short 0 long -1 long 4 long 2 text \"ab\"",
       "\t\t Optype : 0\n\t\t Total Size: -1\n\t\t Size: 2\n"},
      {"negative total replaced by 0", kLarge, "short 0 long -1 long 0",
       "\t\t Optype : 0\n\t\t Total Size: -1\n"},
      {"empty read", kNone, "short 0 long 0", "\t\t Optype : 0\n\t\t Total Size: 0\n"},
      {"zero size", kNone, "short 0 long 9 short 0",
       "\t\t Optype : 0\n\t\t Total Size: 9\n\t\t Size : 0\n"},
      {"write result", kNone, "short 2 long 70000", "\t\t Optype : 2\n\t\t Total Size: 70000\n"},
      {"write error", kNone, "short 2 long -3", "\t\t Optype : 2\n\t\t RSAM Error: -3\n"},
      {"write error, large", kLarge, "short 3 long -3 long 12",
       "\t\t Optype : 3\n\t\t RSAM Error: -3\n\t\t Amount Written: 12\n"},
      {"negative operation", kLarge, "short -1", "\t\t Optype : -1\n"},
      {"operation above 3", kNone, "short 4", "\t\t Optype : 4\n"},
  };
  for (const auto& c : cases) {
    // A request first turns the type's toggle to reply.
    std::string out = decode(std::string("CS { msg SQ_LODATA short 9 short 0 long 0 short 0 }\n") +
                                 "SC { msg SQ_LODATA " + c.body + " msg SQ_REMDML short 9 }\n",
                             {c.caps});
    size_t at = out.find("S->C");
    ASSERT_NE(at, std::string::npos) << c.name;
    out = out.substr(out.find('\n', at) + 1);
    EXPECT_EQ(out, std::string("\tSQ_LODATA\n") + c.lines + "\tSQ_REMDML\n\t\tFlag..: 9\n")
        << c.name;
  }
}

TEST(LobLodata, RequestAndReplyAlternate) {
  std::string out = decode(
      "CS { msg SQ_LODATA short 1 short 1 long 0 short 0 int8 16 short 0 }\n"
      "SC { msg SQ_LODATA short 1 long 0 }\n"
      "CS { msg SQ_LODATA short 4 short 1 long 0 short 0 }\n",
      {kNone, true});
  // Under -min only the INT8 offset stays.
  EXPECT_EQ(out,
            "\tSQ_LODATA\n\t\t Offset: 10\n"
            "\nS->C (8)\t\t\t\n\tSQ_LODATA\n"
            "\nC->S (12)\t\t\t\n\tSQ_LODATA\n");
}

TEST(LobLodata, BlobOptionDumpsTheChunks) {
  std::string out =
      decode("CS { msg SQ_LODATA short 2 short 1 long 3 short 3 short 3 text \"abc\" pad }\n",
             {kNone, false, true});
  EXPECT_EQ(out,
            "\tSQ_LODATA\n\t\t Optype : 2\n\t\t lofd :1\n\t\t Total Size: 3\n"
            "\t\t Chunk Size: 3\n\t\t Size: 3\n" +
                kRule + "\nHEX DUMP:\n       0:  61 62 63" + std::string(14 * 3, ' ') + "\tabc\n" +
                kRule + "\n");
}

TEST(LobLodata, ChunkDataFollowsIntoTheNextPacket) {
  // The chunk's 5 bytes and its pad byte run into the second packet, whose
  // rest is the next chunk.
  std::string out = decode(
      "CS { msg SQ_LODATA short 2 short 1 long 6 short 0 short 5 text \"ab\" }\n"
      "CS { text \"cde\" pad short 1 text \"f\" pad }\n");
  EXPECT_EQ(out,
            "\tSQ_LODATA\n\t\t Optype : 2\n\t\t lofd :1\n\t\t Total Size: 6\n"
            "\t\t Chunk Size: 0\n\t\t Size: 5\n\nC->S (8)\t\t\t\n\t\t Size: 1\n");
}

// ---- SQ_FILE ----

TEST(LobFile, OpenAndRead) {
  struct Case {
    const char* name;
    int caps;
    const char* body;
    const char* lines;
  } cases[] = {
      {"open, odd name skips its pad", kNone,
       "short 0 short 5 text \"a.txt\" pad long 2 long 3 long 4",
       "\t\tOptype..: 0\n\t\tFilename length :5\n\t\tMode: 2\n\t\tFlags: 3\n\t\tOffset: 4\n"},
      {"open, large offset", kLarge, "short 0 short 2 text \"ab\" long 2 long 3 int8 255",
       "\t\tOptype..: 0\n\t\tFilename length :2\n\t\tMode: 2\n\t\tFlags: 3\n\t\tOffset: ff\n"},
      {"read", kNone, "short 2 short 512 long 100",
       "\t\tOptype..: 2\n\t\tBuffer Size :512\n\t\tRead Amount: 100\n"},
      {"read, large buffer", kLarge, "short 2 long 70000 long 100",
       "\t\tOptype..: 2\n\t\tBuffer Size: 70000\n\t\tRead Amount: 100\n"},
      {"read, 8-byte amount in base 10", kFileSizes, "short 2 short 512 int8 4096",
       "\t\tOptype..: 2\n\t\tBuffer Size :512\n\t\tRead Amount: 4096\n"},
      {"read, both", kLarge | kFileSizes, "short 2 long 1 int8 -5",
       "\t\tOptype..: 2\n\t\tBuffer Size: 1\n\t\tRead Amount: -5\n"},
      {"close has no body", kNone, "short 1", "\t\tOptype..: 1\n"},
      {"unknown operation", kNone, "short 12", "\t\tOptype..: 12\n"},
  };
  for (const auto& c : cases) {
    std::string out =
        decode(std::string("SC { msg SQ_FILE ") + c.body + " msg SQ_REMDML short 9 }\n", {c.caps});
    EXPECT_EQ(out, std::string("\tSQ_FILE\n") + c.lines + "\tSQ_REMDML\n\t\tFlag..: 9\n") << c.name;
  }
}

TEST(LobFile, MinHidesAllButTheInt8Offsets) {
  std::string out = decode(
      "SC { msg SQ_FILE short 0 short 1 text \"a\" pad long 2 long 3 int8 17 "
      "msg SQ_FILE short 2 long 1 int8 9 }\n",
      {kLarge | kFileSizes, true});
  // The base-16 offset is always shown; the base-10 read amount is not.
  EXPECT_EQ(out, "\tSQ_FILE\n\t\tOffset: 11\n\tSQ_FILE\n");
}

TEST(LobFile, SeekTellAndStatusRepliesAreCounted) {
  std::string out = decode(
      "SC { msg SQ_FILE short 4 int8 100 long 0 }\n"  // seek request
      "CS { msg SQ_FILE short 4 int8 164 }\n"         // its reply
      "SC { msg SQ_FILE short 4 int8 8 long 1 }\n"    // no request open: a request
      "SC { msg SQ_FILE short 5 }\n"                  // tell request, after a seek
      "CS { msg SQ_FILE short 5 int8 200 }\n"         // tell reply
      "SC { msg SQ_FILE short 6 }\n"                  // status request
      "SC { msg SQ_FILE short 7 }\n"                  // another operation: a request
      "CS { msg SQ_FILE short 7 short -1 }\n"         // its reply
      "CS { msg SQ_FILE short 6 short 0 }\n"          // after 7: read as a request
      "SC { msg SQ_FILE short 4 int8 1 long 2 }\n");  // requests open, but not a seek
  EXPECT_EQ(out,
            "\tSQ_FILE\n\t\tOptype..: 4\n\t\tOffset: 64\n\t\tWhence: 0\n"
            "\nC->S (14)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 4\n\t\tNew position: a4\n"
            "\nS->C (18)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 4\n\t\tOffset: 8\n\t\tWhence: 1\n"
            "\nS->C (4)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 5\n"
            "\nC->S (14)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 5\n\t\tPosition: c8\n"
            "\nS->C (4)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 6\n"
            "\nS->C (4)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 7\n"
            "\nC->S (6)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 7\n\t\tStatus: -1\n"
            "\nC->S (6)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 6\n\nERROR: Invalid msg type: 0 (0x0)."
            "  Reset Message to skip forward to next packet!\n"
            "\nS->C (18)\t\t\t\n\tSQ_FILE\n\t\tOptype..: 4\n\t\tOffset: 1\n\t\tWhence: 2\n");
}

TEST(LobFile, TwoTellsInARowReadTheSecondAsReply) {
  Harness h("SC { msg SQ_FILE short 5 msg SQ_FILE short 5 int8 -1 }\n");
  EXPECT_EQ(decodeAll(h, {}),
            "\tSQ_FILE\n\t\tOptype..: 5\n\tSQ_FILE\n\t\tOptype..: 5\n\t\tPosition: -1\n");
  EXPECT_EQ(h.run().lob.file_request_num, 0);
  EXPECT_EQ(h.run().lob.prev_file_optype, 5);
}

TEST(LobFile, RequestCountSaturates) {
  Harness h("SC { msg SQ_FILE short 6 msg SQ_FILE short 5 msg SQ_FILE short 12 }\n");
  h.run().lob.file_request_num = 32766;
  decodeAll(h, {});
  // 6 and 5 are requests (each after a different operation); 12 changes
  // neither the count nor the previous operation.
  EXPECT_EQ(h.run().lob.file_request_num, 32767);
  EXPECT_EQ(h.run().lob.prev_file_optype, 5);
}

// ---- SQ_FILE_WRITE and SQ_EOT ----

TEST(LobFileWrite, StatesStepByStep) {
  Harness h(
      "SC { msg SQ_FILE short 3 msg SQ_FILE short 3 }\n"
      "CS { msg SQ_FILE_WRITE short 0 }\n"
      "CS { msg SQ_EOT }\n"
      "CS { msg SQ_EOT }\n"
      "CS { msg SQ_FILE_WRITE int8 10 }\n"
      "CS { msg SQ_FILE_WRITE short 1 text \"x\" pad }\n");
  wp::Run& run = h.run();
  run.caps.protocolver.b[1] |= 0x02;
  ASSERT_TRUE(h.header());
  auto step = [&] {
    EXPECT_EQ(h.next(), 0);
    printpacket(run);
  };
  step();
  EXPECT_EQ(run.lob.write_top, 1);
  EXPECT_EQ(run.lob.file_write_state[1], LobState::kOpened);
  step();
  EXPECT_EQ(run.lob.file_write_state[1], LobState::kFlowing);
  step();
  EXPECT_EQ(run.lob.file_write_state[1], LobState::kFinished);
  step();  // only a flowing write finishes
  EXPECT_EQ(run.lob.file_write_state[1], LobState::kFinished);
  step();  // the closing header pops the inner write
  EXPECT_EQ(run.lob.write_top, 0);
  EXPECT_EQ(run.lob.file_write_state[0], LobState::kOpened);
  step();  // the outer one is still open: data
  EXPECT_EQ(run.lob.file_write_state[0], LobState::kFlowing);
  std::string out = h.listing();
  EXPECT_NE(out.find("\tSQ_FILE_WRITE\n\t\tTotal Size : a\n"), std::string::npos);
  EXPECT_EQ(out.find("ERROR"), std::string::npos);
}

// ---- SQ_FILE_READ and SQ_EOT ----

TEST(LobFileRead, HeaderThenBlocksWithinOneDecode) {
  struct Case {
    const char* name;
    int caps;
    const char* body;
    const char* lines;
    const char* total;  // the header's total of 1 in this width
  } cases[] = {
      {"short sizes", kNone, "long 9 msg SQ_FILE_READ short 3 text \"abc\" pad",
       "\t\tTotal Size: 9\n\tSQ_FILE_READ\n\t\tBuffer size :3\n", "long 1"},
      {"8-byte total", kFileSizes, "int8 70000 msg SQ_FILE_READ short 0",
       "\t\tTotal Size: 70000\n\tSQ_FILE_READ\n\t\tBuffer size :0\n", "int8 1"},
      {"long block size", kLarge, "long 9 msg SQ_FILE_READ long 2 text \"ab\"",
       "\t\tTotal Size: 9\n\tSQ_FILE_READ\n\t\tBuffer size: 2\n", "long 1"},
  };
  for (const auto& c : cases) {
    std::string out = decode(std::string("CS { msg SQ_FILE_READ ") + c.body +
                                 " msg SQ_EOT msg SQ_FILE_READ " + c.total + " }\n",
                             {c.caps});
    // After SQ_EOT on the transfer's side, a header again.
    EXPECT_EQ(out, std::string("\tSQ_FILE_READ\n") + c.lines +
                       "\tSQ_EOT\n\tSQ_FILE_READ\n\t\tTotal Size: 1\n")
        << c.name;
  }
}

TEST(LobFileRead, ModeEndsWithTheDecodeCall) {
  // A new packet starts a new decode with the mode off: a header again.
  std::string out = decode(
      "CS { msg SQ_FILE_READ long 9 }\n"
      "CS { msg SQ_FILE_READ long 8 }\n");
  EXPECT_EQ(out,
            "\tSQ_FILE_READ\n\t\tTotal Size: 9\n\nC->S (6)\t\t\t\n\tSQ_FILE_READ\n"
            "\t\tTotal Size: 8\n");
}

TEST(LobEot, EndsAFileReadOnlyOnTheTransfersSide) {
  Harness h("SC { msg SQ_EOT }\nCS { msg SQ_EOT }\n");
  wp::Run& run = h.run();
  ASSERT_TRUE(h.header());
  run.dec.fdir[0] = 'C';
  run.dec.fdir[1] = 'S';
  ASSERT_EQ(h.next(), 0);
  Cursor sc(run);
  sc.fileRead = true;
  sc.getShort();
  decodeEot(run, sc);
  EXPECT_TRUE(sc.fileRead);
  ASSERT_EQ(h.next(), 0);
  Cursor cs(run);
  cs.fileRead = true;
  cs.getShort();
  decodeEot(run, cs);
  EXPECT_FALSE(cs.fileRead);
}

TEST(LobFileRead, AnEmptyServerRecordBetweenCarriedBytesShowsNothing) {
  // The block size is split: its first two bytes are carried over the empty
  // server record, which has no messages (and no "Read too far").
  std::string out = decode(
      "CS { msg SQ_FILE_READ long 2 msg SQ_FILE_READ hex 0000 }\n"
      "SC { }\n"
      "CS { hex 0002 text \"ab\" msg SQ_EOT }\n",
      {kLarge});
  EXPECT_EQ(out,
            "\tSQ_FILE_READ\n\t\tTotal Size: 2\n\tSQ_FILE_READ\n"
            "\nS->C (0)\t\t\t\n"
            "\nC->S (6)\t\t\t\n\t\tBuffer size: 2\n\tSQ_EOT\n");
}

TEST(LobFile, Int8StraddlesPackets) {
  // The seek offset's first 4 bytes are carried in front of the rest.
  std::string out = decode(
      "SC { msg SQ_FILE short 4 hex 0001 0000 }\n"
      "SC { hex 0001 00000002 long 0 }\n");
  EXPECT_EQ(out,
            "\tSQ_FILE\n\t\tOptype..: 4\n\nS->C (10)\t\t\t\n"
            "\t\tOffset: 100000002\n\t\tWhence: 0\n");
}

TEST(LobFileRead, WithoutTheModeAServerPacketIsTakenAsData) {
  // The same bytes without the header: the server packet is data.
  std::string out = decode(
      "CS { msg SQ_LODATA short 2 short 0 long 8 short 0 short 8 "
      "text \"ab\" }\n"
      "SC { msg SQ_RELCOLL long 7 }\n"
      "CS { msg SQ_REMDML short 1 }\n");
  EXPECT_EQ(out.find("SQ_RELCOLL\n"), std::string::npos);
  EXPECT_NE(out.find("\tSQ_REMDML\n\t\tFlag..: 1\n"), std::string::npos);
}

}  // namespace
}  // namespace wp
