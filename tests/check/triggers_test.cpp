// The list of triggers in the documents against the tables that raise them.
#include "check/trigger_sources.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

namespace kovo::check {
namespace {

constexpr char kNone[] = "none";

/// "trigger variable" of each row of the document that is for a product, and "trigger" of the rows
/// whose cause is written in words; the words of its status lines are added to `words`.
std::set<std::string> documented(const std::string& product, std::set<std::string>& words) {
  std::ifstream document(KOVO_DOCS "/interfaces.md");
  const std::regex row(
      R"(\| `([\w#]+)` \| (none|`[A-Z]\w+`|[a-z][^|]*) \| ([^|]+) \|(?: (?:`([\w:]+)` )?\|)?)");
  std::set<std::string> rows;
  bool in_triggers = false;
  for (std::string line; std::getline(document, line);) {
    if (line.substr(0, 3) == "## ") in_triggers = line == "## Triggers";
    std::smatch match;
    if (!in_triggers || !std::regex_match(line, match, row)) continue;
    const std::string products = match[3];
    const bool for_some = products == "two HDMI inputs" || products == "HDMI and USB-C inputs" ||
                          products == "output";
    if (for_some && products != product) continue;
    const std::string cause = match[2];
    if (cause.front() == '`') rows.insert(match.str(1) + " " + cause.substr(1, cause.size() - 2));
    if (cause.front() != '`' && cause != kNone) rows.insert(match[1]);
    if (match[4].matched) words.insert(match.str(1) + " " + match.str(4));
  }
  return rows;
}

std::set<std::string> raised(Variant variant) {
  std::set<std::string> rows;
  for (const TriggerSource& source : trigger_sources(variant)) {
    const bool by_variable =
        source.cause == TriggerCause::kVariable || source.cause == TriggerCause::kVariablePart;
    // The display connection names its triggers itself, like any program.
    if (source.cause == TriggerCause::kDisplay) continue;
    rows.insert(by_variable ? source.trigger + " " + source.name : source.trigger);
  }
  return rows;
}

/// The setting words of the rows, but for that of the playback selection, which counts no line.
std::set<std::string> setting_words(Variant variant) {
  std::set<std::string> words;
  for (const MappingRow& row : mapping_rows(variant)) {
    if (row.setting.empty() || row.setting == "local:x") continue;
    words.insert(row.status + " " + row.setting);
  }
  return words;
}

TEST(Triggers, TheDocumentListsWhatRaisesThem) {
  const std::pair<const char*, Variant> products[] = {
      {"two HDMI inputs", {1, 0}}, {"HDMI and USB-C inputs", {1, 1}}, {"output", {0, 0}}};
  for (const auto& [product, variant] : products) {
    std::set<std::string> words;
    EXPECT_EQ(documented(product, words), raised(variant)) << product;
    EXPECT_EQ(words, setting_words(variant)) << product;
  }
}

}  // namespace
}  // namespace kovo::check
