#include "check/explain.h"

#include <algorithm>

#include "check/model.h"
#include "check/words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

struct Explaining {
  const Source& source;
  Triggers triggers;
  KnownValues known;
  std::unordered_map<std::string, std::string> event_of;  // by trigger: the one that is found
};

/// Returns why a step sends nothing; "" when it sends something.
std::string reason_not_sent(const StepEntries& entries) {
  const CompiledStep& step = *entries.compiled;
  if (entries.protocol == kNoEntry) return "its Protocol is missing";
  if (!choose_sender(step.protocol)) return quoted(step.protocol) + " is not a supported protocol";
  return is_broadcast(step.ip) ? "the daemon does not broadcast" : "";
}

ExplainedStep explain_step(Explaining& explaining, const StepEntries& entries) {
  const CompiledStep& compiled = *entries.compiled;
  ExplainedStep step;
  step.index = compiled.index;
  step.offset_ms = compiled.offset_ms;
  step.sender = choose_sender(compiled.protocol);
  step.protocol = compiled.protocol;
  step.address = is_address(compiled.ip) ? compiled.ip : "0.0.0.0";
  step.port = sent_port(compiled.port);
  step.why_not = reason_not_sent(entries);
  if (!step.why_not.empty() || step.sender->status) return step;
  FilledPayload payload = filled(s_hex_to_ascii(compiled.data), explaining.known);
  step.payload = std::move(payload.text);
  step.is_complete = payload.is_complete;
  step.ends_at_zero = step.payload.find('\0') < kMaxCommand;
  step.truncated = step.is_complete && !step.ends_at_zero && step.payload.size() > kMaxCommand;
  return step;
}

ExplainedEvent explain_event(Explaining& explaining, const NamedKeys& keys) {
  ExplainedEvent event;
  event.name = keys.name;
  event.trigger = keys.event->trigger;
  event.line = explaining.source.lines[explaining.source.entry_lines[keys.counts.front()]].number;
  event.raised_by = raised_by(explaining.triggers, event.trigger);
  const auto [found, is_first] = explaining.event_of.emplace(event.trigger, event.name);
  if (!is_first) event.shadowed_by = found->second;
  event.delay_s = keys.event->delay_s;
  event.never_runs = keys.event->delay_s >= kEventLifeS;
  event.once_per_boot = equals_nocase(event.trigger, kPowerOn);
  event.display_period = is_display_event(event.name);
  event.step_count = keys.event->step_count;
  for (const auto& [index, step] : keys.steps) {
    if (step.compiled == nullptr || step.compiled->index >= event.step_count) break;
    event.steps.push_back(explain_step(explaining, step));
  }
  std::stable_sort(
      event.steps.begin(), event.steps.end(),
      [](const ExplainedStep& a, const ExplainedStep& b) { return a.offset_ms < b.offset_ms; });
  return event;
}

}  // namespace

std::vector<ExplainedEvent> explain(const Source& source, unsigned products,
                                    const KnownValues& known) {
  const Model model = make_model(daemon_entries(source));
  Explaining explaining{source, make_triggers(products), known, {}};
  std::vector<ExplainedEvent> events;
  for (const std::uint32_t position : model.in_event_order) {
    events.push_back(explain_event(explaining, model.names[position]));
  }
  return events;
}

}  // namespace kovo::check
