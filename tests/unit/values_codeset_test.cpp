// Code-set conversion: the trace's code set named by WIREPRINT_CODESET, the
// output code set the locale's. What the printers show is in golden tests.
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <string>

#include "harness.h"
#include "values/codeset.h"

namespace wp {
namespace {

using test::Harness;

// Runs with the user's locale set to `locale` (as LC_ALL would), back to C
// afterwards.
class CodesetTest : public ::testing::Test {
 protected:
  void useLocale(const char* locale) { setenv("LC_ALL", locale, 1); }
  void TearDown() override {
    setenv("LC_ALL", "C", 1);
    setlocale(LC_ALL, "C");
  }
  static std::string converted(wp::Run& run, int32_t n) {
    return std::string(run.cs.rubuf.data(), n);
  }
};

TEST_F(CodesetTest, WhenConversionsAreOpened) {
  struct {
    const char* locale;
    const char* tracecs;
    int rc;
    bool open;
  } cases[] = {
      {"C.UTF-8", "ISO-8859-1", 0, true}, {"C.UTF-8", nullptr, 0, false},
      {"C.UTF-8", "", 0, false},          {"C.UTF-8", "UTF-8", 0, false},
      {"C.UTF-8", "utf8", 0, false},      {"C", "ANSI_X3.4-1968", 0, false},
      {"C", "CP1252", 0, true},           {"C.UTF-8", "NO-SUCH-SET", EINVAL, false},
  };
  for (auto& c : cases) {
    useLocale(c.locale);
    Harness h("");
    wp::Run& run = h.run();
    EXPECT_EQ(initCodeset(run, c.tracecs), c.rc)
        << c.locale << " " << (c.tracecs ? c.tracecs : "-");
    EXPECT_EQ(run.cs.rd != nullptr, c.open) << c.tracecs;
    EXPECT_EQ(run.cs.wr != nullptr, c.open) << c.tracecs;
    EXPECT_EQ(convertsRead(run), c.open);
    run.opt.needcsc = 0;
    EXPECT_FALSE(convertsRead(run));
    EXPECT_FALSE(convertsWrite(run));
  }
}

TEST_F(CodesetTest, BothDirections) {
  useLocale("C.UTF-8");
  Harness h("");
  wp::Run& run = h.run();
  ASSERT_EQ(initCodeset(run, "ISO-8859-1"), 0);
  int32_t n = docsc(run, "caf\xe9", 4);
  ASSERT_EQ(n, 5);
  EXPECT_EQ(converted(run, n), "caf\xc3\xa9");
  EXPECT_EQ(run.cs.rubuf[n], '\0');
  // len < 1: the text ends at its NUL.
  n = docsc(run, "\xe9t\xe9", 0);
  ASSERT_EQ(n, 5);
  EXPECT_EQ(converted(run, n), "\xc3\xa9t\xc3\xa9");
  // Only len bytes are taken.
  n = docsc(run, "ab\xe9zz", 3);
  ASSERT_EQ(n, 4);
  EXPECT_EQ(converted(run, n), "ab\xc3\xa9");
  n = dowrcsc(run, "caf\xc3\xa9", 5);
  ASSERT_EQ(n, 4);
  EXPECT_EQ(converted(run, n), "caf\xe9");
  // Nothing to convert.
  EXPECT_EQ(docsc(run, "", 0), 0);
}

TEST_F(CodesetTest, InvalidInputLeavesTheTextAsItIs) {
  useLocale("C.UTF-8");
  Harness h("");
  wp::Run& run = h.run();
  ASSERT_EQ(initCodeset(run, "ASCII"), 0);
  EXPECT_EQ(docsc(run, "ok", 2), 2);
  EXPECT_EQ(docsc(run, "caf\xe9", 4), 0);
  // Not valid UTF-8 on the way back.
  EXPECT_EQ(dowrcsc(run, "\xff", 1), 0);
  // A character the other side lacks.
  EXPECT_EQ(dowrcsc(run, "\xc3\xa9", 2), 0);
  // The next conversion starts afresh.
  EXPECT_EQ(docsc(run, "abc", 3), 3);
  EXPECT_EQ(converted(run, 3), "abc");
}

TEST_F(CodesetTest, TheBufferGrowsWithTheText) {
  useLocale("C.UTF-8");
  Harness h("");
  wp::Run& run = h.run();
  ASSERT_EQ(initCodeset(run, "IBM437"), 0);
  // Each box-drawing byte becomes three bytes.
  std::string box(1000, '\xc4');
  int32_t n = docsc(run, box.data(), static_cast<int32_t>(box.size()));
  ASSERT_EQ(n, 3000);
  std::string want;
  for (int i = 0; i < 1000; ++i) want += "\xe2\x94\x80";
  EXPECT_EQ(converted(run, n), want);
  EXPECT_EQ(docsc(run, "\xc4", 1), 3);
  EXPECT_GE(run.cs.rubuf.size(), 3001u);  // grown, never shrunk
}

}  // namespace
}  // namespace wp
