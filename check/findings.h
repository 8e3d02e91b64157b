// What the checker finds in a definition file: the records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kovo::check {

struct CheckContext;

enum class Severity { kNote, kWarning, kError };

struct RuleInfo {
  const char* name;
  Severity severity;             // of most of its findings
  Severity other;                // of the others; the same when there are none
  void (*check)(CheckContext&);  // adds its findings
  const char* sentence;          // what it reports
  bool has_third = false;        // some findings have the severity that neither of the two is
};

/// Returns whether a rule adds findings of a severity.
bool can_have(const RuleInfo& rule, Severity severity);

/// Returns the severities of a rule, such as "error, note".
std::string severities_text(const RuleInfo& rule);

/// Returns "note", "warning" or "error".
const char* severity_name(Severity severity);

/// Bytes of one line of the file; lines and columns count from 1, columns in bytes.
struct SourceRange {
  std::int32_t line = 1;
  std::int32_t column = 1;
  std::int32_t length = 0;
};

/// Bytes of one line, and the text that replaces them.
struct Edit {
  SourceRange range;
  std::string text;
};

constexpr char kGuess[] = "did you mean ";  // a hint that begins so makes the fix a guess

struct Finding {
  const RuleInfo* rule;
  Severity severity;
  SourceRange range;
  std::string text;                // what is wrong, printable ASCII
  std::string hint;                // what to write instead; may be empty
  std::optional<std::string> fix;  // what replaces the bytes of `range`
  std::vector<Edit> also;          // what the same fix replaces elsewhere
};

using Findings = std::vector<Finding>;

constexpr std::size_t kMaxFindings = 100'000;  // of a file; it is no definition file then

/// Returns the number of findings of one severity.
std::size_t count_of(const Findings& findings, Severity severity);

}  // namespace kovo::check
