// The report as text: findings in the form of compilers, and events on a timeline.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check/explain.h"
#include "check/findings.h"
#include "check/source.h"

namespace kovo::check {

constexpr std::size_t kReportWidth = 80;
constexpr std::size_t kNotWrapped = SIZE_MAX;  // a finding is then one line for programs

/// Returns the findings of a file, each with its line, a marker and the hint, and their numbers.
/// The first line of each is wrapped at `width`.
std::string report_text(const std::string& file, const Source& source, const Findings& findings,
                        std::size_t width);

/// Returns events with their steps on a timeline: those of one name or trigger, or all for "".
std::string explain_text(const std::vector<ExplainedEvent>& events, std::string_view which);

}  // namespace kovo::check
