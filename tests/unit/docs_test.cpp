// The README's tour quotes the example listings; the quotes must stay what
// the examples (and so the binary) print.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace wp {
namespace {

std::string slurp(const std::filesystem::path& p) {
  std::ifstream f(p, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

// The expected standard output of a golden .test file.
std::string listingOf(const std::string& test) {
  const std::string head = "--- stdout\n";
  size_t at = test.find(head);
  if (at == std::string::npos) return "";
  at += head.size();
  size_t end = test.find("\n--- ", at);
  return end == std::string::npos ? test.substr(at) : test.substr(at, end + 1 - at);
}

struct Excerpt {
  std::string source;  // examples/NAME.test
  std::string text;    // the quoted lines, each ending in a newline
};

// Blocks marked "<!-- excerpt: FILE -->" and fenced with ``` right below.
std::vector<Excerpt> excerptsOf(const std::string& readme) {
  std::vector<Excerpt> out;
  const std::string mark = "<!-- excerpt: ";
  for (size_t at = readme.find(mark); at != std::string::npos; at = readme.find(mark, at + 1)) {
    size_t nameEnd = readme.find(" -->\n", at);
    std::string source = readme.substr(at + mark.size(), nameEnd - at - mark.size());
    size_t open = nameEnd + 5;
    EXPECT_EQ(readme.compare(open, 4, "```\n"), 0) << "no code block after the mark for " << source;
    size_t body = open + 4;
    size_t close = readme.find("\n```\n", body);
    out.push_back({source, readme.substr(body, close + 1 - body)});
  }
  return out;
}

TEST(Readme, ExcerptsAppearInTheirExampleListings) {
  const std::filesystem::path root = WIREPRINT_SOURCE_DIR;
  std::vector<Excerpt> excerpts = excerptsOf(slurp(root / "README.md"));
  ASSERT_GE(excerpts.size(),
            5u);  // the tour quotes the query, an error, the summary and statistics
  for (const Excerpt& e : excerpts) {
    ASSERT_TRUE(std::filesystem::exists(root / e.source)) << e.source;
    std::string listing = "\n";
    listing += listingOf(slurp(root / e.source));
    ASSERT_GT(listing.size(), 1u) << e.source << " has no listing";
    // Whole lines: the excerpt starts at a line's beginning.
    EXPECT_NE(listing.find("\n" + e.text), std::string::npos)
        << "README excerpt no longer in " << e.source << ":\n"
        << e.text;
  }
}

TEST(Readme, NamesEveryExample) {
  const std::filesystem::path root = WIREPRINT_SOURCE_DIR;
  std::string readme = slurp(root / "README.md");
  int examples = 0;
  for (auto& f : std::filesystem::directory_iterator(root / "examples")) {
    if (f.path().extension() != ".test") continue;
    ++examples;
    std::string name = f.path().stem().string();
    EXPECT_NE(readme.find("- `" + name + "`: "), std::string::npos)
        << "examples/" << name << ".test is not described in the README";
  }
  EXPECT_GE(examples, 5);
}

}  // namespace
}  // namespace wp
