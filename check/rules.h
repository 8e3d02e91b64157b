// The rules: everything that a definition file says and the daemon silently reads otherwise. A rule
// is a row of kRules, the function that the row names, and a section of docs/rules.md.
#pragma once

#include <bitset>
#include <iterator>
#include <string>
#include <string_view>

#include "check/findings.h"
#include "check/source.h"
#include "check/triggers.h"
#include "core/event_rules.h"
#include "core/templates.h"

namespace kovo::check {

using Check = void(CheckContext& context);
Check check_no_equals, check_long_line, check_line_end, check_blank;  // rules/lines.cpp
Check check_commented_out, check_unknown_key, check_letter_case, check_truncated_name, check_index,
    check_duplicate_key, check_no_effect;                                   // rules/keys.cpp
Check check_no_event, check_no_count, check_delay_order, check_never_runs;  // rules/events.cpp
Check check_count, check_delay, check_port;                                 // rules/fields.cpp
Check check_same_trigger, check_builtin_trigger, check_variable_name,
    check_trigger;                                   // rules/triggers.cpp
Check check_protocol, check_address;                 // rules/steps.cpp
Check check_loop;                                    // rules/loop.cpp
Check check_data, check_payload, check_placeholder;  // rules/payload.cpp

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

/// Returns a rule's section of docs/rules.md, with its heading; "" for another name.
std::string_view rule_section(std::string_view rule);

/// Returns the names and first sentences of all rules.
std::string rules_text();

}  // namespace kovo::check
