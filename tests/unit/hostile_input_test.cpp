// Inputs found by fuzzing, each once a crash, a hang or a runaway allocation,
// kept as they were minimised. Each must now end in order, quickly, and
// within memory bounded by its size.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "wholerun.h"

namespace wp {
namespace {

using test::compiled;
using test::runWhole;

struct Case {
  const char* name;
  const char* trace;  // a tracec description
  std::vector<std::string> args;
  int status;
  const char* listed;  // a line the listing must hold, or null
};

const Case kCases[] = {
    // The packet buffer grew by 16 MB steps ahead of a record's data.
    {"record length far beyond the file",
     "header 7\nCS len=0x7fffffff 1700000000 { msg 11 }",
     {},
     0,
     "C->S (2147483647)"},
    // Each of two billion PUT rows was recorded on its own with -stmt_stat.
    {"put rows counted one by one",
     "header 7\n"
     "CS { msg SQ_PROTOCOLS short 8 hex 0000200000000000 }\n"
     "SC { msg SQ_PROTOCOLS short 8 hex 0000200000000000 }\n"
     "CS { msg SQ_PREPARE short 0 str \"insert into t values(?)\"\n"
     "     msg SQ_PUT short 0 long 0x7fffffff msg SQ_EOT }\n"
     "SC { msg SQ_EOT }",
     {"-stmt_stat", "-summary"},
     0,
     "SQ_PUT       2147483647 "},
    // The size of a VPUT row and its pad byte were summed in an int32.
    {"vput row of the largest size",
     "header 7\nCS { msg SQ_VPUT short 1 long 0x7fffffff }",
     {},
     1,
     "Sizes of data rows: 2147483647"},
    // Tables sized by a count before any of their entries had arrived.
    {"idescribe count far beyond its fields",
     "header 7\nCS { msg SQ_IDESCRIBE short 32767 }",
     {},
     1,
     "# input fields.....: 32767"},
    {"vput count far beyond its sizes",
     "header 7\nCS { msg SQ_VPUT short 32767 long 4 }",
     {},
     1,
     "# rows..........: 32767"},
};

TEST(HostileInput, EndsInOrderWithinBounds) {
  for (const Case& c : kCases) {
    std::vector<uint8_t> bytes = compiled(c.trace);
    test::Outcome o = runWhole(bytes, c.args, true);
    EXPECT_EQ(o.status, c.status) << c.name;
    EXPECT_LT(o.seconds, 2.0) << c.name;
    EXPECT_LE(o.heap, test::kRunHeap + 32 * bytes.size()) << c.name;
    if (c.listed) {
      EXPECT_NE(o.text.find(c.listed), std::string::npos) << c.name << "\n" << o.text;
    }
  }
}

}  // namespace
}  // namespace wp
