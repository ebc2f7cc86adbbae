// The generator's statements: each keeps one normalised form whatever its
// literals, and no two statements share one, so -stmt_stat sees exactly as
// many groups as the generator was asked for.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "stats/stmtstats.h"
#include "tracegen.h"

namespace {

std::string normalised(const std::string& s) {
  return wp::normaliseSql(s.data(), static_cast<int32_t>(s.size()));
}

TEST(TracegenCatalog, OneNormalisedFormPerStatementAndNoneShared) {
  tracegen::Config cfg;
  cfg.statements = 4000;
  cfg.seed = 17;
  auto a = tracegen::statementTexts(cfg, 1);
  auto b = tracegen::statementTexts(cfg, 2);
  ASSERT_EQ(a.size(), 4000u);
  std::set<std::string> forms;
  int literalsDiffer = 0, longTexts = 0;
  for (size_t k = 0; k < a.size(); ++k) {
    std::string na = normalised(a[k]);
    EXPECT_EQ(na, normalised(b[k])) << a[k] << " / " << b[k];
    forms.insert(na);
    literalsDiffer += a[k] != b[k];
    longTexts += a[k].size() > 70;
  }
  EXPECT_EQ(forms.size(), a.size());
  // The texts do carry literals that change, and some run past the report's
  // first line of 70 characters.
  EXPECT_GT(literalsDiffer, 1000);
  EXPECT_GT(longTexts, 1000);
}

TEST(TracegenCatalog, SameSeedSameStatements) {
  tracegen::Config cfg;
  cfg.statements = 50;
  EXPECT_EQ(tracegen::statementTexts(cfg, 5), tracegen::statementTexts(cfg, 5));
  tracegen::Config other = cfg;
  other.seed = cfg.seed + 1;
  EXPECT_NE(tracegen::statementTexts(cfg, 5), tracegen::statementTexts(other, 5));
}

}  // namespace
