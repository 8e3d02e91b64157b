// Random files: nothing crashes, and each finding has its place in the file.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <random>

#include "check/explain.h"
#include "check/fixes.h"
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

/// Half of them are the example with other bytes in some places, so that whole events are fixed.
TEST(RandomFiles, AreFixedOnceWithoutANewErrorAndAsGitAndPatchDoIt) {
  std::mt19937 random(8);
  const std::string example = read_example("faulty.txt");
  const auto errors = [](const std::string& text) {
    return count_of(found_in(text), Severity::kError);
  };
  std::string diff;
  std::size_t fixes = 0;
  std::string directory = "/tmp/kovo_fixes.XXXXXX";
  ASSERT_NE(mkdtemp(directory.data()), nullptr);
  for (const char* name : {"/given", "/fixed"}) mkdir((directory + name).c_str(), 0700);
  for (int round = 0; round < 200; ++round) {
    std::string text = random_text(random, example);
    if (round % 2 == 0) {
      text = example;
      for (int edits = 8; edits > 0; --edits) {
        const std::string_view piece = kPieces[random() % std::size(kPieces)];
        text.insert(random() % text.size(), random() % 2 == 0 ? " " : piece);
      }
    }
    SCOPED_TRACE(text);
    const FixedText fixed = apply_fixes(text, {});
    fixes += fixed.fixes;
    EXPECT_LE(errors(fixed.text), errors(text)) << fixed.text;
    EXPECT_EQ(apply_fixes(fixed.text, {}).text, fixed.text);
    const std::string name = "/a " + std::to_string(round);
    std::ofstream(directory + "/given" + name) << text;
    std::ofstream(directory + "/fixed" + name) << fixed.text;
    diff += unified_diff(name.substr(1), text, fixed.text);
  }
  EXPECT_GT(fixes, 500U);
  EXPECT_EQ(unified_diff("f", "1\n\r", "1\n"),
            "--- a/f\n+++ b/f\n@@ -1,2 +1,1 @@\n 1\n-\r\n\\ No newline at end of file\n");
  std::ofstream(directory + "/diff") << diff;
  const std::string apply =
      "cd " + directory +
      " && cp -r given git && mv given patch && (cd git && git apply --whitespace=nowarn ../diff)"
      " && (cd patch && patch -sp1 <../diff) && diff -r git fixed && diff -r "
      "patch fixed && rm -r " +
      directory;
  EXPECT_EQ(std::system(apply.c_str()), 0) << directory;
}

}  // namespace
}  // namespace kovo::check
