#include "definitions/event_compiler.h"

#include <algorithm>
#include <unordered_map>

#include "frame/text.h"

namespace kovo {
namespace {

constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;

/// The "Count" lines of one name.
struct Counts {
  std::uint32_t event = 0;
  std::int32_t most = 0;                  // no key reaches a step beyond it
  std::vector<std::int32_t> step_counts;  // of each line
};

using CountsByName = std::unordered_map<std::string_view, Counts>;

bool is_builtin(const std::string& name) {
  return name == "PowerOn" || name == "DVIConnected" || name == "DVIDisconnected";
}

void set_step_delay(CompiledEvent& event, std::int32_t step, const std::string& milliseconds) {
  const auto previous = event.steps.find(step - 1);
  SubCommand& command = event.steps[step];
  command.delay_ns = to_int32(milliseconds) * kNanosecondsPerMillisecond;
  command.delay_from_exec_ns =
      command.delay_ns + (previous == event.steps.end() ? 0 : previous->second.delay_from_exec_ns);
}

void trace_step(const DefinitionTrace& trace, const DefinitionEntry& entry, std::int32_t step,
                const SubCommand& command) {
  if (entry.field == "Data") trace.decoded(entry.value, command.data);
  if (entry.field == "Delay") trace.offset(step, command.delay_from_exec_ns);
}

void apply_step_entry(CompiledEvent& event, const DefinitionEntry& entry, const Counts& counts,
                      const DefinitionTrace* trace) {
  std::uint32_t index = 0;
  if (to_uint32(entry.index, 10, index) != NumberReading::kOk) return;
  if (index >= static_cast<std::uint32_t>(counts.most)) return;
  const std::int32_t step = static_cast<std::int32_t>(index);
  SubCommand& command = event.steps[step];
  if (entry.field == "Protocol") command.protocol = entry.value;
  if (entry.field == "IP") command.ip = entry.value;
  if (entry.field == "Port") command.port = entry.value;
  if (entry.field == "Data") command.data = s_hex_to_ascii(entry.value);
  if (entry.field == "Delay") set_step_delay(event, step, entry.value);
  if (trace == nullptr) return;
  for (const std::int32_t step_count : counts.step_counts) {
    if (step < step_count) trace_step(*trace, entry, step, command);
  }
}

void apply_event_entry(CompiledEvent& event, const DefinitionEntry& entry) {
  if (entry.field == "XMLfield") event.trigger = entry.value;
  if (entry.field == "Delay") {
    event.delay_s = to_int32(entry.value);
    if (is_builtin(event.name)) event.trigger = event.name;
  }
}

CountsByName create_events(const DefinitionEntries& entries, CompiledEvents& list) {
  CountsByName by_name;
  for (const DefinitionEntry& entry : entries) {
    if (entry.parts != 1 || entry.field != "Count") continue;
    const std::int32_t step_count = std::min(to_int32(entry.value), kMaxSteps);
    if (step_count <= 0) continue;
    Counts& counts = by_name[entry.name];
    if (counts.step_counts.empty()) {
      counts.event = static_cast<std::uint32_t>(list.events.size());
      list.events.push_back({entry.name, entry.name, 0, step_count, {}});
    }
    counts.most = std::max(counts.most, step_count);
    counts.step_counts.push_back(step_count);
    list.lines.push_back({counts.event, step_count});
  }
  return by_name;
}

}  // namespace

CompiledEvents compile_events(const DefinitionEntries& entries, const DefinitionTrace* trace) {
  CompiledEvents list;
  const CountsByName by_name = create_events(entries, list);
  for (const DefinitionEntry& entry : entries) {
    const auto found = by_name.find(entry.name);
    if (found == by_name.end()) continue;
    CompiledEvent& event = list.events[found->second.event];
    if (entry.parts == 2) apply_step_entry(event, entry, found->second, trace);
    if (entry.parts == 1) apply_event_entry(event, entry);
  }
  return list;
}

const CompiledEvent* find_event(const CompiledEvents& list, std::string_view name, int test) {
  for (const CompiledEvent& event : list.events) {
    if ((test == 0 ? event.trigger : event.name) == name) return &event;
  }
  return nullptr;
}

EventDefinition whole_event(const CompiledEvent& compiled, std::int32_t step_count) {
  EventDefinition event;
  event.name = compiled.name;
  event.trigger = compiled.trigger;
  event.delay_s = compiled.delay_s;
  event.commands.resize(static_cast<std::size_t>(step_count));
  for (const auto& [step, command] : compiled.steps) {
    if (step < step_count) event.commands[static_cast<std::size_t>(step)] = command;
  }
  return event;
}

std::string event_line(const CompiledEvent& compiled, std::int32_t step_count) {
  static const SubCommand kEmptyStep;
  std::string line = compiled.name + ";" + compiled.trigger + ";";
  auto next = compiled.steps.begin();
  for (std::int32_t step = 0; step < step_count; ++step) {
    const bool set = next != compiled.steps.end() && next->first == step;
    const SubCommand& command = set ? (next++)->second : kEmptyStep;
    line.append(std::to_string(step)).append(":").append(command.data).append(":");
    line.append(std::to_string(command.delay_ns / kNanosecondsPerMillisecond)).append(";");
  }
  return line + "Delay=" + std::to_string(compiled.delay_s) + ";\n";
}

}  // namespace kovo
