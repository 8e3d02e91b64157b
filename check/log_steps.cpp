#include "check/log_steps.h"

#include <algorithm>

#include "check/payload.h"
#include "core/templates.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;

/// Returns the text between two placeholders as it is sent. Without a final backslash and a first
/// "n", "r" or "t" next to a placeholder: together with its value they may become a control
/// character.
std::string literal_of(std::string_view text, bool after_value, bool before_value) {
  std::string literal = unescape_controls(std::string(text));
  const auto is_letter = [](char c) { return c == 'n' || c == 'r' || c == 't'; };
  if (after_value && !literal.empty() && is_letter(literal.front())) literal.erase(0, 1);
  if (before_value && !literal.empty() && literal.back() == '\\') literal.pop_back();
  return literal;
}

/// Returns the literal texts of a payload up to its first NUL, where the log ends it.
std::vector<std::string> literals_of(std::string_view payload) {
  std::vector<std::string> literals;
  std::size_t at = 0;
  std::vector<Placeholder> values = placeholders(payload);
  for (std::size_t value = 0; value <= values.size(); ++value) {
    const bool is_last = value == values.size();
    const std::size_t end = is_last ? payload.size() : values[value].at;
    const std::string_view text = payload.substr(at, end - at);
    const std::string_view shown = until_nul(text);
    literals.push_back(literal_of(shown, value > 0, !is_last && shown.size() == text.size()));
    if (is_last || shown.size() != text.size()) break;
    at = end + values[value].name.size() + 4;
  }
  return literals;
}

bool fits_payload(const std::vector<std::string>& literals, std::string_view payload) {
  const std::string& first = literals.front();
  if (payload.substr(0, first.size()) != first) return false;
  if (literals.size() == 1) return payload.size() == first.size();
  if (payload.size() >= kMaxExpanded) return true;  // truncated there
  std::size_t at = first.size();
  for (std::size_t literal = 1; literal + 1 < literals.size(); ++literal) {
    at = payload.find(literals[literal], at);
    if (at == std::string_view::npos) return false;
    at += literals[literal].size();
  }
  const std::string& last = literals.back();
  return payload.size() >= at + last.size() && payload.substr(payload.size() - last.size()) == last;
}

StepPattern make_pattern(const SubCommand& command) {
  StepPattern pattern;
  pattern.address = until_nul(command.ip);
  pattern.port = until_nul(command.port);
  pattern.protocol = until_nul(command.protocol);
  pattern.head = pattern.address + ":" + pattern.port + " " + pattern.protocol + " ";
  pattern.literals = literals_of(command.data);
  pattern.offset_ms = command.delay_from_exec_ns / kNanosecondsPerMillisecond;
  return pattern;
}

}  // namespace

void make_log_definitions(const DefinitionEntries& entries, LogDefinitions& definitions) {
  definitions.compiled = compile_events(entries);
  std::vector<std::string> triggers;
  for (const CompiledEvent& compiled : definitions.compiled.events) {
    LogEvent& event = definitions.events.emplace_back(LogEvent{&compiled, {}});
    const EventDefinition whole = whole_event(compiled, compiled.step_count);
    definitions.by_head.emplace(make_pattern(whole.commands.front()).head, &event);
    definitions.has_newlines =
        definitions.has_newlines ||
        std::any_of(whole.commands.begin(), whole.commands.end(),
                    [](const SubCommand& command) { return has_newline(make_pattern(command)); });
    triggers.emplace_back(compiled.trigger);
  }
  std::sort(triggers.begin(), triggers.end());
  definitions.triggers = make_suggester(std::move(triggers));
}

LogEvent* pushed_event(LogDefinitions& definitions, std::string_view name, bool test) {
  const CompiledEvent* found = find_event(definitions.compiled, name, test ? 1 : 0);
  if (found == nullptr) return nullptr;
  return &*std::find_if(definitions.events.begin(), definitions.events.end(),
                        [&](const LogEvent& event) { return event.compiled == found; });
}

const std::vector<StepPattern>& steps_of(LogEvent& event) {
  if (event.steps.empty()) {
    const EventDefinition whole = whole_event(*event.compiled, event.compiled->step_count);
    for (const SubCommand& command : whole.commands) event.steps.push_back(make_pattern(command));
  }
  return event.steps;
}

bool has_newline(const StepPattern& pattern) {
  return std::any_of(pattern.literals.begin(), pattern.literals.end(),
                     [](const std::string& literal) { return contains(literal, "\n"); });
}

bool fits_step(const StepPattern& pattern, std::string_view step) {
  return step.substr(0, pattern.head.size()) == pattern.head &&
         fits_payload(pattern.literals, step.substr(pattern.head.size()));
}

}  // namespace kovo::check
