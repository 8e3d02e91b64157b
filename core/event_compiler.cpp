#include "core/event_compiler.h"

#include <algorithm>
#include <cassert>
#include <unordered_map>

#include "core/text.h"

namespace kovo {
namespace {

constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;

/// The positions in `events` of the names.
using EventsByName = std::unordered_map<std::string_view, std::uint32_t>;

/// Returns the step of an index, which is added in its place when it is new.
CompiledStep& step_of(CompiledEvent& event, std::int32_t index) {
  assert(index >= 0 && index < event.most_steps);
  auto before = event.steps.before_begin();
  for (auto next = event.steps.begin(); next != event.steps.end() && next->index <= index; ++next) {
    if (next->index == index) return *next;
    before = next;
  }
  CompiledStep added;
  added.index = index;
  return *event.steps.insert_after(before, added);
}

/// Returns the offset of a step; 0 for one that no key has set.
std::int64_t offset_of(const CompiledEvent& event, std::int32_t index) {
  for (const CompiledStep& step : event.steps) {
    if (step.index == index) return step.offset_ms;
  }
  return 0;
}

/// Traces a step's value once for each event that has the step.
void trace_step(const CompiledEvents& list, std::uint32_t event, const DefinitionEntry& entry,
                const CompiledStep& step, const DefinitionTrace& trace) {
  for (const CountLine& line : list.lines) {
    if (line.event != event || step.index >= line.step_count) continue;
    if (entry.field == kDataField) trace.decoded(entry.value, s_hex_to_ascii(entry.value));
    if (entry.field == kDelayField)
      trace.offset(step.index, step.offset_ms * kNanosecondsPerMillisecond);
  }
}

void apply_step_entry(CompiledEvents& list, std::uint32_t position, const DefinitionEntry& entry,
                      const DefinitionTrace* trace) {
  CompiledEvent& event = list.events[position];
  std::uint32_t index = 0;
  if (to_uint32(entry.index, 10, index) != NumberReading::kOk) return;
  if (index >= static_cast<std::uint32_t>(event.most_steps)) return;
  CompiledStep& step = step_of(event, static_cast<std::int32_t>(index));
  if (entry.field == kProtocolField) step.protocol = entry.value.data();
  if (entry.field == kIpField) step.ip = entry.value.data();
  if (entry.field == kPortField) step.port = entry.value.data();
  if (entry.field == kDataField) step.data = entry.value.data();
  if (entry.field == kDelayField) {
    step.delay_ms = to_int32(entry.value);
    step.offset_ms = step.delay_ms + offset_of(event, step.index - 1);
  }
  if (trace != nullptr) trace_step(list, position, entry, step, *trace);
}

void apply_event_entry(CompiledEvent& event, const DefinitionEntry& entry) {
  if (entry.field == kTriggerField) event.trigger = entry.value;
  if (entry.field == kDelayField) {
    event.delay_s = to_int32(entry.value);
    if (is_builtin_event(event.name)) event.trigger = event.name;
  }
}

EventsByName create_events(CompiledEvents& list) {
  EventsByName by_name;
  for (const DefinitionEntry& entry : list.definitions) {
    if (entry.parts != 1 || entry.field != kCountField) continue;
    const std::int32_t step_count = std::min(to_int32(entry.value), kMaxSteps);
    if (step_count <= 0) continue;
    const auto position = static_cast<std::uint32_t>(list.events.size());
    const auto [found, is_new] = by_name.emplace(entry.name, position);
    if (is_new) list.events.push_back({entry.name, entry.name, 0, step_count, 0, {}});
    CompiledEvent& event = list.events[found->second];
    event.most_steps = std::max(event.most_steps, step_count);
    list.lines.push_back({found->second, step_count});
  }
  return by_name;
}

}  // namespace

bool is_builtin_event(std::string_view name) {
  return name == kPowerOn || name == kDviConnected || name == kDviDisconnected;
}

CompiledEvents compile_events(const DefinitionEntries& entries, const DefinitionTrace* trace) {
  CompiledEvents list;
  list.definitions = entries;
  const EventsByName by_name = create_events(list);
  for (const DefinitionEntry& entry : list.definitions) {
    const auto found = by_name.find(entry.name);
    if (found == by_name.end()) continue;
    if (entry.parts == 2) apply_step_entry(list, found->second, entry, trace);
    if (entry.parts == 1) apply_event_entry(list.events[found->second], entry);
  }
  return list;
}

const CompiledEvent* find_event(const CompiledEvents& list, std::string_view name, bool is_test) {
  for (const CompiledEvent& event : list.events) {
    if ((is_test ? event.name : event.trigger) == name) return &event;
  }
  return nullptr;
}

EventDefinition whole_event(const CompiledEvent& compiled, std::int32_t step_count) {
  EventDefinition event;
  event.name = compiled.name;
  event.trigger = compiled.trigger;
  event.delay_s = compiled.delay_s;
  event.commands.resize(static_cast<std::size_t>(step_count));
  for (const CompiledStep& step : compiled.steps) {
    if (step.index >= step_count) break;
    event.commands[static_cast<std::size_t>(step.index)] = {
        step.ip, step.port, step.protocol, s_hex_to_ascii(step.data),
        step.offset_ms * kNanosecondsPerMillisecond};
  }
  return event;
}

std::string event_line(const CompiledEvent& compiled, std::int32_t step_count) {
  std::string line;
  line.append(compiled.name).append(";").append(compiled.trigger).append(";");
  auto next = compiled.steps.begin();
  for (std::int32_t index = 0; index < step_count; ++index) {
    const bool set = next != compiled.steps.end() && next->index == index;
    const CompiledStep step = set ? *next++ : CompiledStep();
    line.append(std::to_string(index)).append(":").append(s_hex_to_ascii(step.data)).append(":");
    line.append(std::to_string(step.delay_ms)).append(";");
  }
  return line + "Delay=" + std::to_string(compiled.delay_s) + ";\n";
}

}  // namespace kovo
