// The rules: everything that a definition file says and the daemon silently reads otherwise. A rule
// is a row of kRules, the function that the row names, and its text in the file rules/NAME.txt.
#pragma once

#include <bitset>
#include <iterator>
#include <string_view>

#include "check/findings.h"
#include "check/source.h"
#include "check/triggers.h"
#include "definitions/templates.h"
#include "engine/event_rules.h"

namespace kovo::check {

// rules_lines.cpp
void check_no_equals(CheckContext& context);
void check_long_line(CheckContext& context);
void check_line_end(CheckContext& context);
void check_blank(CheckContext& context);
// rules_keys.cpp
void check_unknown_key(CheckContext& context);
void check_letter_case(CheckContext& context);
void check_cut_name(CheckContext& context);
void check_index(CheckContext& context);
void check_duplicate_key(CheckContext& context);
void check_no_effect(CheckContext& context);
// rules_events.cpp
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
// rules_payload.cpp
void check_data(CheckContext& context);
void check_payload(CheckContext& context);
void check_placeholder(CheckContext& context);

// Findings at the same place are reported in this order.
inline constexpr RuleInfo kRules[] = {
    {"no-equals", Severity::kWarning, Severity::kWarning, check_no_equals,
     "a line that holds no \"=\" is not read"},
    {"long-line", Severity::kError, Severity::kError, check_long_line,
     "a line over 2047 bytes is read as several"},
    {"line-end", Severity::kError, Severity::kError, check_line_end,
     "carriage returns and a byte order mark become part of values and of the first key; a zero "
     "byte ends its line"},
    {"blank", Severity::kWarning, Severity::kWarning, check_blank,
     "blanks around a key or a value are part of it"},
    {"unknown-key", Severity::kWarning, Severity::kWarning, check_unknown_key,
     "a key that the daemon does not read"},
    {"letter-case", Severity::kError, Severity::kError, check_letter_case,
     "a key that would be read in another letter case"},
    {"no-count", Severity::kError, Severity::kNote, check_no_count,
     "the keys of an event that does not exist, since it has no positive Count"},
    {"count", Severity::kError, Severity::kError, check_count,
     "a Count that is no number, negative, above 128, or followed by text"},
    {"index", Severity::kError, Severity::kWarning, check_index,
     "a step index at or beyond the Count, or none at all"},
    {"cut-name", Severity::kError, Severity::kError, check_cut_name,
     "an event name that is cut at a field word inside of it"},
    {"protocol", Severity::kError, Severity::kWarning, check_protocol,
     "a step whose Protocol is missing or names no sender, or both"},
    {"address", Severity::kError, Severity::kError, check_address,
     "a step whose address is missing, no dotted IPv4 address, or too long"},
    {"port", Severity::kError, Severity::kError, check_port,
     "a step whose port is missing, no number from 1 to 65535, or followed by text"},
    {"data", Severity::kError, Severity::kWarning, check_data,
     "a Data value that is not hexadecimal, missing, or of a step that does not send it"},
    {"payload", Severity::kError, Severity::kError, check_payload,
     "a payload over 1023 bytes or with a zero byte: it is cut"},
    {"placeholder", Severity::kError, Severity::kNote, check_placeholder,
     "a placeholder that is not closed or stands for nothing"},
    {"delay", Severity::kError, Severity::kError, check_delay,
     "a Delay that is no number, negative, or followed by text"},
    {"delay-order", Severity::kWarning, Severity::kWarning, check_delay_order,
     "step delays out of order or with gaps, so that they do not add up"},
    {"never-runs", Severity::kError, Severity::kError, check_never_runs,
     "an event delay of 60 s or more: it is dropped before"},
    {"duplicate-key", Severity::kWarning, Severity::kWarning, check_duplicate_key,
     "the same key again: the last one counts"},
    {"same-trigger", Severity::kError, Severity::kError, check_same_trigger,
     "a trigger that an earlier event has already"},
    {"builtin-trigger", Severity::kWarning, Severity::kWarning, check_builtin_trigger,
     "the XMLfield of a built-in event that a later Delay line sets back"},
    {"variable-name", Severity::kError, Severity::kError, check_variable_name,
     "a trigger that is the name of a device variable"},
    {"trigger", Severity::kNote, Severity::kWarning, check_trigger,
     "a trigger that nothing on the device raises by itself"},
    {"no-effect", Severity::kNote, Severity::kNote, check_no_effect,
     "a global key that the daemon does not act on"},
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
