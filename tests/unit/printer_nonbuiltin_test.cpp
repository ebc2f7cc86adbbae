// The trailer after a single type word: no message decoder reads one yet, so
// only this test holds it to its wire layout.
#include <gtest/gtest.h>

#include <string>

#include "driver/cursor.h"
#include "harness.h"
#include "values/valueprinter.h"

namespace wp {
namespace {

TEST(PrinterNonBuiltin, TrailerOnlyForUnsupportedOrDistinctTypes) {
  test::Harness h(
      "CS { long 5 str \"app\" short 0 long 6 short 0 str \"point\" long 70000 short 0 short 0 "
      "short 30583 }\n");
  ASSERT_TRUE(h.header());
  ASSERT_EQ(h.next(), 0);
  Cursor cur(h.run());
  printnonbuiltininfo(cur, 0x802, "\t\t");  // nothing without the capability
  h.run().caps.protocolver.b[6] = 0x04;     // the set in force does not count
  printnonbuiltininfo(cur, 0x802, "\t\t");
  h.run().caps.sub_sprotocolver.b[6] = 0x04;
  printnonbuiltininfo(cur, 0x102, "\t\t");  // supported built-in: nothing read
  printnonbuiltininfo(cur, 0x802, "\t\t");
  printnonbuiltininfo(cur, 40, "\t\t\t");
  printnonbuiltininfo(cur, 0x52, "\t");  // 82 is no built-in code
  std::string s = h.listing();
  EXPECT_EQ(s.substr(s.find("\t\t\t\n") + 4),
            "\t\tType xid.........: 5\n\t\t\tType owner.......: \"app\" [3]\n"
            "\t\t\tType xid.........: 6\n\t\t\tType name........: \"point\" [5]\n"
            "\tType xid.........: 4464\n");
  ASSERT_EQ(cur.left, 2);
  EXPECT_EQ(cur.i16(), 0x7777);
}

}  // namespace
}  // namespace wp
