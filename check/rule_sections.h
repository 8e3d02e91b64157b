// The documentation of the rules: a section for each, from its file in check/rules.
#pragma once

#include <string>
#include <string_view>

namespace kovo::check {

/// The event of the examples, without findings.
extern const char kExampleEvent[];

/// Returns an event with some lines: each replaces the event's line of the same key, or is added.
std::string with_lines(std::string_view event, std::string_view lines);

/// The parts of a rule's file.
struct RuleExample {
  std::string_view text;  // what the rule reports, and why; empty when the rule has no file
  bool is_file = false;   // the lines are a whole file; otherwise lines for the example event
  std::string bad;        // lines that the rule reports
  std::string good;       // lines without findings
};
RuleExample rule_example(std::string_view rule);

/// Returns the file that lines of an example make.
std::string file_of(const RuleExample& example, std::string_view lines);

/// Returns a rule's section of docs/rules.md: its text, the bad lines and what is printed for them,
/// the good lines. Returns "" when the rule has none.
std::string rule_section(std::string_view rule);

}  // namespace kovo::check
