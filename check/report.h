// The report for people: findings in the form of compilers, and events on a time axis.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "check/explain.h"
#include "check/findings.h"
#include "check/source.h"

namespace kovo::check {

/// The findings of a file, each with its line, a marker below and the hint, and their numbers.
std::string report_text(const std::string& file, const Source& source, const Findings& findings,
                        bool colours);

/// Events with their steps on a time axis; those of one name or trigger, or all for "".
/// Empty when there is none.
std::string explain_text(const std::vector<ExplainedEvent>& events, std::string_view which);

/// Names, severities and sentences of all rules.
std::string rules_text();

}  // namespace kovo::check
