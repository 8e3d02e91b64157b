#include <fmt/core.h>

#include <algorithm>

#include "check/rules.h"
#include "check/rules_page.h"
#include "check/words.h"

namespace kovo::check {
namespace {

constexpr std::string_view kPage = kRulesPage;
constexpr std::string_view kReports = ".\n\nReports ";

/// Returns the first sentence of a section without "Reports", on one line.
std::string first_sentence(std::string_view section) {
  const std::size_t at = section.find(kReports) + kReports.size();
  const std::size_t end = std::min(section.find(".\n", at), section.find(". ", at));
  std::string sentence(section.substr(at, end - at));
  std::replace(sentence.begin(), sentence.end(), '\n', ' ');
  return sentence;
}

}  // namespace

std::string_view rule_section(std::string_view rule) {
  const std::size_t at = kPage.find(fmt::format("\n## {}\n", rule));
  if (at == std::string_view::npos) return {};
  const std::size_t end = std::min(kPage.find("\n\n## ", at + 1), kPage.size() - 1);
  return kPage.substr(at + 1, end - at);
}

std::string rules_text() {
  constexpr std::size_t kWidth = 80;
  std::string text;
  for (const RuleInfo& rule : kRules) {
    const std::string start = fmt::format("{:17}", rule.name);
    const std::string sentence = first_sentence(rule_section(rule.name));
    text += start + wrapped(sentence, kWidth, std::string(start.size(), ' '), start.size()) + "\n";
  }
  return text;
}

}  // namespace kovo::check
