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
  void (*check)(CheckContext&);  // adds its findings
};

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

// A hint that begins so makes the fix a guess: it is offered, but not applied by --fix.
constexpr char kGuess[] = "did you mean ";

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
