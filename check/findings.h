// What the checker finds in a definition file: the records, and the table of the rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kovo::check {

enum class Severity { kNote, kWarning, kError };

// In the order of their table.
enum class Rule {
  kNoEquals,
  kLongLine,
  kLineEnd,
  kBlank,
  kUnknownKey,
  kLetterCase,
  kNoCount,
  kCount,
  kIndex,
  kCutName,
  kProtocol,
  kAddress,
  kPort,
  kData,
  kPayload,
  kPlaceholder,
  kDelay,
  kDelayOrder,
  kNeverRuns,
  kDuplicateKey,
  kSameTrigger,
  kBuiltinTrigger,
  kVariableName,
  kTrigger,
  kNoEffect,
  kDisplayPeriod,
};

constexpr std::size_t kRuleCount = static_cast<std::size_t>(Rule::kDisplayPeriod) + 1;

struct RuleInfo {
  const char* name;
  Severity severity;     // of most of its findings
  const char* sentence;  // when it speaks
};

/// The row of a rule in the table.
const RuleInfo& rule_info(Rule rule);

/// "note", "warning" or "error".
const char* severity_name(Severity severity);

/// Bytes of one line of the file; lines and columns count from 1, columns in bytes.
struct Place {
  std::int32_t line = 1;
  std::int32_t column = 1;
  std::int32_t length = 0;
};

struct Finding {
  Rule rule{};
  Severity severity{};
  Place place;
  std::string text;                 // what is wrong, printable ASCII
  std::string hint;                 // what to write instead; may be empty
  std::optional<std::string> mend;  // what to put in the place of the bytes at `place`
};

using Findings = std::vector<Finding>;

constexpr std::size_t kMaxFindings = 100'000;  // of a file; it is no definition file then

/// How many findings have one severity.
std::size_t count_of(const Findings& findings, Severity severity);

}  // namespace kovo::check
