// The rules: everything that a definition file says and the daemon silently reads otherwise. A rule
// is a row of kRules, the function that the row names, and its text in the file rules/NAME.txt.
#pragma once

#include <bitset>
#include <iterator>
#include <string_view>

#include "check/findings.h"
#include "check/source.h"
#include "check/triggers.h"
#include "core/event_rules.h"
#include "core/templates.h"

namespace kovo::check {

// rules_lines.cpp
void check_no_equals(CheckContext& context);
void check_long_line(CheckContext& context);
void check_line_end(CheckContext& context);
void check_blank(CheckContext& context);
// rules_keys.cpp
void check_commented_out(CheckContext& context);
void check_unknown_key(CheckContext& context);
void check_letter_case(CheckContext& context);
void check_truncated_name(CheckContext& context);
void check_index(CheckContext& context);
void check_duplicate_key(CheckContext& context);
void check_no_effect(CheckContext& context);
// rules_events.cpp
void check_no_event(CheckContext& context);
void check_no_count(CheckContext& context);
void check_count(CheckContext& context);
void check_delay(CheckContext& context);
void check_delay_order(CheckContext& context);
void check_never_runs(CheckContext& context);
// rules_triggers.cpp
void check_same_trigger(CheckContext& context);
void check_builtin_trigger(CheckContext& context);
void check_variable_name(CheckContext& context);
void check_trigger(CheckContext& context);
void check_display_period(CheckContext& context);
// rules_steps.cpp
void check_protocol(CheckContext& context);
void check_address(CheckContext& context);
void check_port(CheckContext& context);
// rules_loop.cpp
void check_loop(CheckContext& context);
// rules_payload.cpp
void check_data(CheckContext& context);
void check_payload(CheckContext& context);
void check_placeholder(CheckContext& context);

// Findings at the same place are reported in this order.
inline constexpr RuleInfo kRules[] = {
    {"no-equals", Severity::kWarning, Severity::kWarning, check_no_equals,
     "a line without \"=\", which is ignored"},
    {"long-line", Severity::kError, Severity::kError, check_long_line,
     "a line over 2047 bytes, which is read as several"},
    {"line-end", Severity::kError, Severity::kError, check_line_end,
     "line endings other than LF, a byte order mark, or a NUL, which ends its line"},
    {"blank", Severity::kWarning, Severity::kWarning, check_blank,
     "blanks around a key or a value, which are part of it"},
    {"commented-out", Severity::kError, Severity::kNote, check_commented_out,
     "a line that looks like a comment, but contains an \"=\" and is read"},
    {"unknown-key", Severity::kWarning, Severity::kWarning, check_unknown_key,
     "a key that the daemon ignores"},
    {"letter-case", Severity::kError, Severity::kError, check_letter_case,
     "a key or event name in the wrong case"},
    {"no-event", Severity::kWarning, Severity::kWarning, check_no_event,
     "a file that defines no event"},
    {"no-count", Severity::kError, Severity::kNote, check_no_count,
     "the keys of an event that does not exist: its Count is missing or not positive"},
    {"count", Severity::kError, Severity::kError, check_count,
     "a Count that is not a number, out of range, or followed by text"},
    {"index", Severity::kError, Severity::kWarning, check_index,
     "a step number that is missing, invalid, or out of the range of the Count"},
    {"truncated-name", Severity::kError, Severity::kError, check_truncated_name,
     "an event name that contains a field word, where it is truncated"},
    {"protocol", Severity::kError, Severity::kWarning, check_protocol,
     "a step without lines, or whose Protocol is missing, not supported, or ambiguous"},
    {"address", Severity::kError, Severity::kWarning, check_address,
     "a step whose address is missing, invalid, that of the device or a broadcast address", true},
    {"port", Severity::kError, Severity::kError, check_port,
     "a step whose port is missing, not a number from 1 to 65535, or followed by text"},
    {"loop", Severity::kWarning, Severity::kWarning, check_loop,
     "a step that sends to the daemon itself, and may trigger its own event again"},
    {"data", Severity::kError, Severity::kWarning, check_data,
     "a Data value that is missing, not hexadecimal, or not sent"},
    {"payload", Severity::kError, Severity::kNote, check_payload,
     "a payload that is truncated (over 1023 bytes, or a NUL), or spells a byte as <CR> or \\x0D"},
    {"placeholder", Severity::kError, Severity::kNote, check_placeholder,
     "a placeholder that is not closed, has single braces, or is replaced by nothing"},
    {"delay", Severity::kError, Severity::kNote, check_delay,
     "a Delay that is not a number, negative, followed by text, or over 10 minutes for a step"},
    {"delay-order", Severity::kWarning, Severity::kWarning, check_delay_order,
     "step delays that are out of order or missing, so that they do not add up"},
    {"never-runs", Severity::kError, Severity::kError, check_never_runs,
     "an event delay of 60 s or more: the event is dropped before it runs"},
    {"duplicate-key", Severity::kWarning, Severity::kWarning, check_duplicate_key,
     "a repeated key: the last line counts"},
    {"same-trigger", Severity::kError, Severity::kError, check_same_trigger,
     "a trigger that an earlier event has already"},
    {"builtin-trigger", Severity::kWarning, Severity::kWarning, check_builtin_trigger,
     "the XMLfield of a built-in event: a later Delay line sets it back, otherwise the event no "
     "longer runs by itself"},
    {"variable-name", Severity::kError, Severity::kError, check_variable_name,
     "a trigger that is the name of a device variable"},
    {"trigger", Severity::kNote, Severity::kWarning, check_trigger,
     "a trigger that nothing on the device raises by itself"},
    {"no-effect", Severity::kNote, Severity::kNote, check_no_effect,
     "a global key that the daemon ignores"},
    {"display-period", Severity::kNote, Severity::kNote, check_display_period,
     "display-connection events are skipped in the first 120 s after boot"},
};
constexpr std::size_t kRuleCount = std::size(kRules);
static_assert(kEventLifeS == 60 && kPowerOnPeriodS == 120, "the texts give these numbers");

struct CheckOptions {
  unsigned products = kAnyProduct;
  const StatusVars* status = nullptr;  // of the device, if it is known
  bool strict = false;                 // warnings count as errors
  std::bitset<kRuleCount> disabled;
};

/// Returns the position of a rule in kRules; kRuleCount when no rule has that name.
std::size_t find_rule(std::string_view name);

/// Returns all findings of a file, in the order of its lines.
Findings check_source(const Source& source, const CheckOptions& options);

}  // namespace kovo::check
