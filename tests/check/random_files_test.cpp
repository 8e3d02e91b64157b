// Random files: nothing crashes, and each finding has its place in the file.
#include <gtest/gtest.h>

#include <random>

#include "check/explain.h"
#include "check/payload.h"
#include "tests/check/texts.h"

namespace kovo::check {
namespace {

constexpr std::string_view kPieces[] = {"{{",         "}}",   "=",         "Count=129\n",
                                        "Data0=7B7B", "\r\n", "99",        "-1",
                                        "x",          "\n",   "XMLfield=", "\xEF\xBB\xBF"};

std::string random_text(std::mt19937& random, const std::string& example) {
  std::string text;
  for (auto pieces = random() % 40; pieces > 0; --pieces) {
    text.append(example, random() % example.size(), random() % 60);
    if (random() % 2 == 0) text += kPieces[random() % std::size(kPieces)];
    if (random() % 8 == 0) text += static_cast<char>(random());
  }
  return text;
}

TEST(RandomFiles, HaveFindingsWithinTheirLinesAndThePlaceholdersOfTheDaemon) {
  std::mt19937 random(22);
  const std::string example = read_example("faulty.txt");
  for (int round = 0; round < 3000; ++round) {
    const std::string text = random_text(random, example);
    SCOPED_TRACE(text);
    const Source source = read_source(text);
    const std::string lines = text + "\n";  // also an empty file has a line
    for (const Finding& finding : check_source(source, {})) {
      const SourceRange& range = finding.range;
      const auto end = static_cast<std::size_t>(range.column + range.length) - 1;
      const auto line = split_lines(lines).at(static_cast<std::size_t>(range.line) - 1);
      ASSERT_TRUE(range.column >= 1 && end <= line.size()) << finding.text << " of " << line;
      for (const char c : finding.text + finding.hint) ASSERT_TRUE(c >= ' ' && c <= '~');
    }
    explain(source, kAnyProduct, {});
    if (contains(text, "\\")) continue;  // the daemon replaces escapes too
    std::string without = text;
    const std::vector<Placeholder> found = placeholders(text);
    for (auto last = found.rbegin(); last != found.rend(); ++last) {
      without.erase(last->at, last->name.size() + 4);
    }
    ASSERT_EQ(without, expand_templates({}, text));
  }
}

}  // namespace
}  // namespace kovo::check
