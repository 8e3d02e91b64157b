#include "check/rule_sections.h"

#include <algorithm>
#include <iterator>

#include "check/report.h"
#include "check/rule_texts.h"
#include "check/rules.h"
#include "check/source.h"
#include "check/words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMostShown = 90;  // bytes of an example's line

std::string_view key_of(std::string_view line) {
  return line.substr(0, line.find('='));
}

/// Returns an example's lines with the two characters \r as a carriage return.
std::string unescaped(std::string_view lines) {
  std::string text(lines);
  for (std::size_t at = 0; (at = text.find("\\r", at)) != std::string::npos;) {
    text.replace(at, 2, "\r");
  }
  return text;
}

/// Returns lines as an indented block.
std::string block(std::string_view lines, std::size_t most = std::string::npos) {
  std::string text;
  for (const std::string_view line : split_lines(lines)) {
    text += "    " + escaped(line.substr(0, most)) + (line.size() > most ? "...\n" : "\n");
  }
  return text;
}

/// Returns what kovocheck prints for a text when all other rules are disabled, without the last
/// line.
std::string report_of(std::size_t rule, const std::string& text) {
  CheckOptions options;
  options.disabled.set().reset(rule);
  const Source source = read_source(text);
  const std::string report = report_text("kovo.txt", source, check_source(source, options), false);
  return report.substr(0, report.rfind('\n', report.size() - 2) + 1);
}

}  // namespace

const char kExampleEvent[] =
    "MuteCount=1\n"
    "MuteXMLfield=mute\n"
    "MuteProtocol0=UDP\n"
    "MuteIP0=10.0.0.7\n"
    "MutePort0=6000\n"
    "MuteData0=4D555445\n"
    "MuteDelay0=0\n";

std::string with_lines(std::string_view event, std::string_view lines) {
  std::vector<std::string_view> left = split_lines(lines);
  std::string text;
  for (const std::string_view line : split_lines(event)) {
    const auto same = std::find_if(left.begin(), left.end(), [=](std::string_view other) {
      return contains(other, "=") && key_of(other) == key_of(line);
    });
    text.append(same == left.end() ? line : *same).append("\n");
    if (same != left.end()) left.erase(same);
  }
  for (const std::string_view line : left) text.append(line).append("\n");
  return text;
}

RuleExample rule_example(std::string_view rule) {
  constexpr std::string_view kBadLines = "\nbad:\n";
  constexpr std::string_view kBadFile = "\nbad file:\n";
  constexpr std::string_view kGood = "\ngood:\n";
  const auto found = std::find_if(std::begin(kRuleTexts), std::end(kRuleTexts),
                                  [=](const RuleText& each) { return each.rule == rule; });
  if (found == std::end(kRuleTexts)) return {};
  const std::string_view file = found->file;
  const bool is_file = contains(file, kBadFile);
  const std::string_view head = is_file ? kBadFile : kBadLines;
  const std::size_t bad = std::min(file.find(head), file.size() - head.size());
  const std::size_t good = std::min(file.find(kGood, bad), file.size() - kGood.size());
  return {file.substr(0, bad), is_file,
          unescaped(file.substr(bad + head.size(), good - bad - head.size())),
          unescaped(file.substr(good + kGood.size()))};
}

std::string file_of(const RuleExample& example, std::string_view lines) {
  return example.is_file ? std::string(lines) : with_lines(kExampleEvent, lines);
}

std::string rule_section(std::string_view rule) {
  const std::size_t position = find_rule(rule);
  const RuleExample example = rule_example(rule);
  if (position == kRuleCount || example.text.empty()) return {};
  const std::string report = report_of(position, file_of(example, example.bad));
  return "## " + std::string(rule) + "\n\nSeverity: " + severities_text(kRules[position]) +
         ".\n\n" + std::string(example.text) +
         (example.is_file ? "\nBad file:\n\n" : "\nBad:\n\n") + block(example.bad, kMostShown) +
         "\nOutput:\n\n" + block(report) + "\nGood:\n\n" + block(example.good, kMostShown);
}

}  // namespace kovo::check
