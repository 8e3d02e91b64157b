#include "check/report.h"

#include <fmt/core.h>

#include <algorithm>

#include "check/payload.h"
#include "check/rules.h"
#include "check/words.h"

namespace kovo::check {
namespace {

constexpr std::size_t kExcerptSize = 66;  // bytes of a line that are shown: 80 columns in all
constexpr std::int64_t kAxisLength = 16;  // columns from the first to the last step
constexpr std::size_t kAxisWidth = 22;
constexpr std::size_t kPayloadShown = 120;

/// The line of a finding and a marker below it. Of a long line the part around the finding.
std::string excerpt(const Source& source, const SourceRange& range) {
  const std::string_view line = whole_line(source, range.line);
  const std::size_t column =
      std::min<std::size_t>(static_cast<std::size_t>(range.column) - 1, line.size());
  const std::size_t from = column < kExcerptSize * 3 / 4 ? 0 : column - kExcerptSize / 4;
  const std::string_view part = line.substr(from, kExcerptSize);
  const std::string_view marked =
      part.substr(column - from, static_cast<std::size_t>(std::max(range.length, 0)));
  const std::string start = (from > 0 ? "..." : "") + escaped(part.substr(0, column - from));
  const std::string rest = escaped(part.substr(column - from));
  const char* end = from + part.size() < line.size() ? "..." : "";
  const std::size_t width = std::max<std::size_t>(escaped(marked).size(), 1);
  return fmt::format("{:5} | {}{}{}\n{:5} | {:{}}{:~<{}}\n", range.line, start, rest, end, "", "",
                     start.size(), "^", width);
}

std::string finding_text(const std::string& file, const Source& source, const Finding& finding,
                         std::size_t width) {
  constexpr std::string_view kHint = "      = hint: ";
  const std::string place = fmt::format("{}:{}:{}: {}: ", file, finding.range.line,
                                        finding.range.column, severity_name(finding.severity));
  const std::string message = fmt::format("{} [{}]", finding.text, finding.rule->name);
  std::string text = place + wrapped(message, width, "    ", place.size()) + "\n";
  text += excerpt(source, finding.range);
  if (finding.hint.empty()) return text;
  const std::string indent(kHint.size(), ' ');
  return text.append(kHint) + wrapped(finding.hint, kReportWidth, indent, indent.size()) + "\n";
}

std::string raised_text(const ExplainedEvent& event) {
  std::string text = event.raised_by.empty() ? "only by a program on tcp:2700" : "";
  for (const std::string& what : event.raised_by) text += (text.empty() ? "" : "; ") + what;
  return quoted(event.trigger) + " (" + text + ")";
}

std::string runs_text(const ExplainedEvent& event) {
  if (!event.shadowed_by.empty()) {
    return "never found: the trigger raises " + shown(event.shadowed_by);
  }
  if (event.never_runs) return "never runs: it is dropped after 60 s";
  std::string text = "runs within 250 ms";
  if (event.delay_s > 0) text = fmt::format("runs after {} s", event.delay_s);
  if (event.once_per_boot) text += ", once after each boot";
  if (event.display_period) text += ", skipped in the first 120 s after boot";
  return text;
}

std::string destination(const ExplainedStep& step) {
  if (!step.sender) return "";
  return step.address + ":" + std::to_string(step.port);
}

std::string payload_size(const ExplainedStep& step) {
  if (!step.why_not.empty() || step.sender->status) return "";
  const std::size_t size = sent_part(step.payload).size();
  return std::to_string(size) + (size == 1 ? " byte " : " bytes");
}

std::string payload_text(const ExplainedStep& step, std::size_t size_width) {
  if (!step.why_not.empty()) {
    return (step.sender ? "not sent: " : "sends nothing: ") + step.why_not;
  }
  if (step.sender->status) return "the device's status";
  std::string text = fmt::format("{:>{}}  {}", payload_size(step), size_width,
                                 quoted(sent_part(step.payload), kPayloadShown));
  if (step.truncated) text += "  truncated to 1023 bytes";
  if (step.ends_at_zero) text += "  ends at a NUL";
  return text;
}

std::string axis(std::int64_t offset_ms, std::int64_t last_ms, char mark) {
  std::string columns(kAxisWidth, ' ');
  const std::int64_t at = offset_ms <= 0 ? 0 : (offset_ms * kAxisLength + last_ms / 2) / last_ms;
  columns[static_cast<std::size_t>(at)] = mark;
  return columns;
}

std::string event_text(const ExplainedEvent& event) {
  std::string text =
      shown(event.name) + "   raised by " + raised_text(event) + "; " + runs_text(event) + "\n";
  std::size_t time_width = 4;
  std::size_t place_width = 0;
  std::size_t size_width = 0;
  for (const ExplainedStep& step : event.steps) {
    time_width = std::max(time_width, std::to_string(step.offset_ms).size());
    place_width = std::max(place_width, destination(step).size());
    size_width = std::max(size_width, payload_size(step).size());
  }
  const std::int64_t last_ms = event.steps.empty() ? 0 : event.steps.back().offset_ms;
  for (const ExplainedStep& step : event.steps) {
    text += fmt::format("{:>{}} ms  |{}{:4}{:{}}{}\n", step.offset_ms, time_width,
                        axis(step.offset_ms, last_ms, step.why_not.empty() ? '#' : '-'),
                        transport_name(step.sender), destination(step), place_width + 3,
                        payload_text(step, size_width));
  }
  const auto empty = static_cast<std::size_t>(event.step_count) - event.steps.size();
  if (empty > 0) text += "  and " + counted(empty, "step") + " without lines: nothing is sent\n";
  return text;
}

}  // namespace

std::string report_text(const std::string& file, const Source& source, const Findings& findings,
                        std::size_t width) {
  std::string text;
  for (const Finding& finding : findings) {
    text += finding_text(file, source, finding, width);
  }
  if (findings.size() >= kMaxFindings) text += file + ": too many findings: the rest is omitted\n";
  return text + file + ": " + counted(count_of(findings, Severity::kError), "error") + ", " +
         counted(count_of(findings, Severity::kWarning), "warning") + ", " +
         counted(count_of(findings, Severity::kNote), "note") + "\n";
}

std::string explain_text(const std::vector<ExplainedEvent>& events, std::string_view which) {
  std::string text;
  for (const ExplainedEvent& event : events) {
    if (!which.empty() && event.name != which && event.trigger != which) continue;
    if (!text.empty()) text += "\n";
    text += event_text(event);
  }
  return text;
}

}  // namespace kovo::check
