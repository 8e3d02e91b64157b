// The texts of the rules: the sections of docs/rules.md, which the program contains.
#pragma once

#include <string>
#include <string_view>

namespace kovo::check {

/// Returns a rule's section of docs/rules.md, with its heading; "" for another name.
std::string_view rule_section(std::string_view rule);

/// Returns the severities of a rule's findings, such as "error, note".
std::string_view rule_severities(std::string_view rule);

/// Returns the names, severities and first sentences of all rules.
std::string rules_text();

}  // namespace kovo::check
