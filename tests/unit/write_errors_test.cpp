// The built program with a listing that cannot be delivered (a full device, a
// closed standard output, a pipe whose reader has gone) and with an "-o" file
// that is the trace under another name: exit status, standard error, and what
// is left in the files.
#include <unistd.h>

#include <string>
#include <vector>

#include "program.h"

namespace wp::test {
namespace {

class WriteErrors : public Scratch {
 protected:
  // A listing of about a megabyte, well past the output buffer, from a trace
  // whose last record is cut short: its end prints "<path>: Success" on
  // standard error, so that message shows the whole trace was decoded.
  std::string bigTrace() {
    std::string d = "header 7\n";
    for (int i = 0; i < 20000; ++i) d += "CS 1700000000 { msg SQ_EOT }\n";
    d += "CS len=50 1700000000 { msg SQ_EOT }\n";
    return compiled("big.trace", d);
  }

  Result run(const std::vector<std::string>& args, Stdout mode) {
    return Scratch::run(args, "", mode);
  }
};

const char kSmall[] = "header 7\nCS 1700000000 { msg SQ_BEGIN }\n";
const char kSmallListing[] = "SQLIDBG Version 7\n\nC->S (2)\t\t\t\n\tSQ_BEGIN\n";

TEST_F(WriteErrors, ListingThatCannotBeWrittenEndsWithStatusTwo) {
  std::string small = compiled("small.trace", kSmall), big = bigTrace();
  struct Case {
    const char* what;
    std::vector<std::string> args;
    Stdout mode;
    std::string err;
  };
  const Case cases[] = {
      // Fails at the first write, long before the trace ends.
      {"-o a full device",
       {"-o", "/dev/full", big},
       Stdout::kFile,
       "wireprint: write error: /dev/full: No space left on device\n"},
      // Fails only when the end of the run writes the buffer out.
      {"-o a full device, short listing",
       {"-notimestamp", "-o", "/dev/full", small},
       Stdout::kFile,
       "wireprint: write error: /dev/full: No space left on device\n"},
      {"standard output full",
       {small},
       Stdout::kFull,
       "wireprint: write error: No space left on device\n"},
      {"standard output full, long listing",
       {big},
       Stdout::kFull,
       "wireprint: write error: No space left on device\n"},
      {"standard output closed",
       {small},
       Stdout::kClosed,
       "wireprint: write error: Bad file descriptor\n"},
      {"version banner to a full device",
       {"-V"},
       Stdout::kFull,
       "wireprint: write error: No space left on device\n"},
      // The -notimestamp notice goes to standard output even with "-o".
      {"notice to a closed standard output",
       {"-cmd_time", "-notimestamp", "-o", dir_ + "/out", small},
       Stdout::kClosed,
       "wireprint: write error: Bad file descriptor\n"},
      // The reader has gone on purpose: no message, and no more decoding.
      {"pipe without a reader", {big}, Stdout::kBrokenPipe, ""},
      // Several traces write through their own streams: the first failure
      // fails the run all the same, whichever job met it, spooled or not.
      {"several traces, -o a full device",
       {"-j", "2", "-o", "/dev/full", big, big, small},
       Stdout::kFile,
       "wireprint: write error: /dev/full: No space left on device\n"},
      {"several traces, one job, standard output full",
       {"-j", "1", small, small},
       Stdout::kFull,
       "wireprint: write error: No space left on device\n"},
      {"several traces, standard output closed",
       {"-j", "2", "-summary", small, big},
       Stdout::kClosed,
       "wireprint: write error: Bad file descriptor\n"},
      {"several traces, pipe without a reader", {"-j", "2", big, big}, Stdout::kBrokenPipe, ""},
  };
  for (const Case& c : cases) {
    Result r = run(c.args, c.mode);
    EXPECT_EQ(r.status, 2) << c.what;
    EXPECT_EQ(r.err, c.err) << c.what;
    EXPECT_EQ(r.out, "") << c.what;
  }
  // Nothing of the notice reached the "-o" file through a reused descriptor.
  EXPECT_EQ(slurp(dir_ + "/out"), "");
}

TEST_F(WriteErrors, ClosedStandardOutputIsNoErrorWhenNothingGoesThere) {
  std::string small = compiled("small.trace", kSmall);
  Result r = run({"-notimestamp", "-o", dir_ + "/out", small}, Stdout::kClosed);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(slurp(dir_ + "/out"), kSmallListing);
}

TEST_F(WriteErrors, DeliveredListingsEndAsBefore) {
  std::string small = compiled("small.trace", kSmall), big = bigTrace();
  Result r = run({"-notimestamp", small}, Stdout::kFile);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, kSmallListing);
  r = run({big}, Stdout::kFile);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, big + ": Success\n");
  EXPECT_GT(r.out.size(), 1000000u);
}

TEST_F(WriteErrors, OutputFileThatIsTheTraceByAHardLinkIsRefused) {
  std::string small = compiled("small.trace", kSmall);
  std::string before = slurp(small), link = dir_ + "/link";
  ASSERT_EQ(::link(small.c_str(), link.c_str()), 0);
  Result r = run({"-o", link, small}, Stdout::kFile);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, link + ": Output file is the input file\n");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(slurp(small), before);
  // Standard output appending to the trace is refused alike.
  unlink((dir_ + "/stdout").c_str());
  ASSERT_EQ(::link(small.c_str(), (dir_ + "/stdout").c_str()), 0);
  r = run({small}, Stdout::kAppend);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "standard output: Output file is the input file\n");
  EXPECT_EQ(slurp(small), before);
}

// With several traces, any one of them being the output file stops the run
// before anything is written, whatever its place.
TEST_F(WriteErrors, OutputFileThatIsOneOfSeveralTracesIsRefused) {
  std::string a = compiled("a.trace", kSmall), b = compiled("b.trace", kSmall);
  std::string beforeA = slurp(a), before = slurp(b), link = dir_ + "/link";
  ASSERT_EQ(::link(b.c_str(), link.c_str()), 0);
  for (const char* jobs : {"1", "2"}) {
    Result r = run({"-j", jobs, "-o", link, a, b}, Stdout::kFile);
    EXPECT_EQ(r.status, 1) << jobs;
    EXPECT_EQ(r.err, link + ": Output file is the input file\n") << jobs;
    EXPECT_EQ(r.out, "") << jobs;
    EXPECT_EQ(slurp(b), before) << jobs;
  }
  unlink((dir_ + "/stdout").c_str());
  ASSERT_EQ(::link(a.c_str(), (dir_ + "/stdout").c_str()), 0);
  Result r = run({"-summary", b, a}, Stdout::kAppend);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "standard output: Output file is the input file\n");
  EXPECT_EQ(slurp(a), beforeA);
}

}  // namespace
}  // namespace wp::test
