// The rules: everything that a definition file says and the daemon silently reads otherwise. A rule
// is a row of kRules, the function that the row names, and a section of docs/rules.md.
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

// rules/lines.cpp
void check_no_equals(CheckContext& context);
void check_long_line(CheckContext& context);
void check_line_end(CheckContext& context);
void check_blank(CheckContext& context);
// rules/keys.cpp
void check_commented_out(CheckContext& context);
void check_unknown_key(CheckContext& context);
void check_letter_case(CheckContext& context);
void check_truncated_name(CheckContext& context);
void check_index(CheckContext& context);
void check_duplicate_key(CheckContext& context);
void check_no_effect(CheckContext& context);
// rules/events.cpp
void check_no_event(CheckContext& context);
void check_no_count(CheckContext& context);
void check_delay_order(CheckContext& context);
void check_never_runs(CheckContext& context);
// rules/fields.cpp
void check_count(CheckContext& context);
void check_delay(CheckContext& context);
void check_port(CheckContext& context);
// rules/triggers.cpp
void check_same_trigger(CheckContext& context);
void check_builtin_trigger(CheckContext& context);
void check_variable_name(CheckContext& context);
void check_trigger(CheckContext& context);
void check_display_period(CheckContext& context);
// rules/steps.cpp
void check_protocol(CheckContext& context);
void check_address(CheckContext& context);
// rules/loop.cpp
void check_loop(CheckContext& context);
// rules/payload.cpp
void check_data(CheckContext& context);
void check_payload(CheckContext& context);
void check_placeholder(CheckContext& context);

// Findings at the same place are reported in this order.
inline constexpr RuleInfo kRules[] = {
    {"no-equals", check_no_equals},
    {"long-line", check_long_line},
    {"line-end", check_line_end},
    {"blank", check_blank},
    {"commented-out", check_commented_out},
    {"unknown-key", check_unknown_key},
    {"letter-case", check_letter_case},
    {"no-event", check_no_event},
    {"no-count", check_no_count},
    {"count", check_count},
    {"index", check_index},
    {"truncated-name", check_truncated_name},
    {"protocol", check_protocol},
    {"address", check_address},
    {"port", check_port},
    {"loop", check_loop},
    {"data", check_data},
    {"payload", check_payload},
    {"placeholder", check_placeholder},
    {"delay", check_delay},
    {"delay-order", check_delay_order},
    {"never-runs", check_never_runs},
    {"duplicate-key", check_duplicate_key},
    {"same-trigger", check_same_trigger},
    {"builtin-trigger", check_builtin_trigger},
    {"variable-name", check_variable_name},
    {"trigger", check_trigger},
    {"no-effect", check_no_effect},
    {"display-period", check_display_period},
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
