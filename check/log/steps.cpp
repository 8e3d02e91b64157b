#include "check/log/steps.h"

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

/// Sets the literal texts of a payload up to its first NUL, where the log ends it, and the names of
/// the placeholders between them.
void split_payload(std::string_view payload, StepPattern& pattern) {
  std::size_t at = 0;
  const std::vector<Placeholder> values = placeholders(payload);
  for (std::size_t value = 0; value <= values.size(); ++value) {
    const bool is_last = value == values.size();
    const std::size_t end = is_last ? payload.size() : values[value].at;
    const std::string_view text = payload.substr(at, end - at);
    const std::string_view shown = until_nul(text);
    const bool is_cut = shown.size() != text.size();
    pattern.literals.push_back(literal_of(shown, value > 0, !is_last && !is_cut));
    if (is_last || is_cut) break;
    pattern.names.emplace_back(values[value].name);
    at = end + values[value].name.size() + 4;
  }
}

/// Returns whether a payload has all literals in their order.
bool fits_payload(const StepPattern& pattern, std::string_view payload,
                  std::vector<std::string>* empty) {
  const std::vector<std::string>& literals = pattern.literals;
  const std::string& first = literals.front();
  if (payload.substr(0, first.size()) != first) return false;
  if (literals.size() == 1) return payload.size() == first.size();
  if (payload.size() >= kMaxExpanded) return true;  // truncated there
  std::size_t at = first.size();
  for (std::size_t literal = 1; literal < literals.size(); ++literal) {
    const std::string& text = literals[literal];
    const bool is_last = literal + 1 == literals.size();
    const std::size_t found = is_last && payload.size() >= text.size()
                                  ? payload.size() - text.size()
                                  : payload.find(text, at);
    if (found == std::string_view::npos || found < at) return false;
    if (payload.substr(found, text.size()) != text) return false;
    const bool is_certain = is_last || !text.empty();
    if (empty != nullptr && found == at && is_certain) empty->push_back(pattern.names[literal - 1]);
    at = found + text.size();
  }
  return true;
}

StepPattern make_pattern(const SubCommand& command) {
  StepPattern pattern;
  const std::string address(until_nul(command.ip));
  const std::string port(until_nul(command.port));
  pattern.head = address + ":" + port + " " + std::string(until_nul(command.protocol)) + " ";
  pattern.address_size = address.size();
  pattern.port_size = port.size();
  split_payload(command.data, pattern);
  pattern.offset_ms = command.delay_from_exec_ns / kNanosecondsPerMillisecond;
  return pattern;
}

}  // namespace

void make_log_definitions(const DefinitionEntries& entries, LogDefinitions& definitions) {
  definitions.compiled = compile_events(entries);
  std::vector<std::string> triggers;
  std::vector<std::string> names;
  for (const CompiledEvent& compiled : definitions.compiled.events) {
    LogEvent& event = definitions.events.emplace_back(LogEvent{&compiled, {}});
    definitions.by_trigger.emplace(compiled.trigger, &event);
    definitions.by_name.emplace(compiled.name, &event);
    triggers.emplace_back(compiled.trigger);
    names.emplace_back(compiled.name);
  }
  definitions.triggers = make_suggester(std::move(triggers));
  definitions.names = make_suggester(std::move(names));
}

const std::vector<StepPattern>& steps_of(LogEvent& event) {
  if (!event.steps.empty()) return event.steps;
  const EventDefinition whole = whole_event(*event.compiled, event.compiled->step_count);
  for (const SubCommand& command : whole.commands) event.steps.push_back(make_pattern(command));
  for (const CompiledStep& step : event.compiled->steps) {
    const auto index = static_cast<std::size_t>(step.index);
    if (index < event.steps.size()) event.steps[index].is_defined = true;
  }
  return event.steps;
}

bool fits_step(const StepPattern& pattern, std::string_view step, std::vector<std::string>* empty) {
  return step.substr(0, pattern.head.size()) == pattern.head &&
         fits_payload(pattern, step.substr(pattern.head.size()), empty);
}

}  // namespace kovo::check
