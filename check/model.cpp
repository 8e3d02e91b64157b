#include "check/model.h"

#include <algorithm>

#include "definitions/event_compiler.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

std::uint32_t* slot_of(StepEntries& step, std::string_view field) {
  if (field == "Protocol") return &step.protocol;
  if (field == "IP") return &step.ip;
  if (field == "Port") return &step.port;
  if (field == "Data") return &step.data;
  return field == "Delay" ? &step.delay : nullptr;
}

void take(Model& model, std::uint32_t& slot, std::uint32_t entry) {
  if (slot != kNoEntry) model.duplicates.push_back({slot, entry});
  slot = entry;
}

void add_event_key(Model& model, NamedKeys& keys, const DefinitionEntry& entry,
                   std::uint32_t position) {
  if (entry.field == "Count") {
    if (!keys.counts.empty()) model.duplicates.push_back({keys.counts.back(), position});
    keys.counts.push_back(position);
  }
  if (entry.field == "XMLfield") take(model, keys.trigger, position);
  if (entry.field == "Delay") take(model, keys.delay, position);
}

void add_step_key(Model& model, NamedKeys& keys, const DefinitionEntry& entry,
                  std::uint32_t position) {
  std::uint32_t index = 0;
  StepEntries unread;
  if (slot_of(unread, entry.field) == nullptr || !read_index(entry, index)) return;
  StepEntries& step = keys.steps[index];
  if (step.first == kNoEntry) step.first = position;
  take(model, *slot_of(step, entry.field), position);
}

NamedKeys& keys_of(Model& model, std::string_view name) {
  const auto position = static_cast<std::uint32_t>(model.names.size());
  const auto [found, is_new] = model.by_name.emplace(name, position);
  if (is_new) model.names.emplace_back().name = name;
  return model.names[found->second];
}

void sort_keys(Model& model, const DefinitionEntries& entries) {
  std::unordered_map<std::string_view, std::uint32_t> plain_keys;
  std::uint32_t position = 0;
  for (const DefinitionEntry& entry : entries) {
    if (entry.parts == 0) {
      const auto [found, is_new] = plain_keys.emplace(entry.name, position);
      if (!is_new) take(model, found->second, position);
    } else {
      NamedKeys& keys = keys_of(model, entry.name);
      keys.entries.push_back(position);
      if (entry.parts == 1) add_event_key(model, keys, entry, position);
      if (entry.parts == 2) add_step_key(model, keys, entry, position);
    }
    ++position;
  }
}

std::optional<SubCommand> command_of(const CompiledEvent& event, std::uint32_t index) {
  for (const CompiledStep& step : event.steps) {
    if (step.index == static_cast<std::int32_t>(index)) return sub_command(step);
  }
  return {};
}

void take_compiled(Model& model) {
  for (const CountLine& line : model.compiled.lines) {
    const CompiledEvent& event = model.compiled.events[line.event];
    const std::uint32_t position = model.by_name.find(event.name)->second;
    NamedKeys& keys = model.names[position];
    keys.step_count = std::max(keys.step_count, line.step_count);
    if (keys.exists) continue;
    model.in_event_order.push_back(position);
    keys.exists = true;
    keys.first_count = event.step_count;
    keys.compiled_trigger = event.trigger;
    keys.delay_s = event.delay_s;
  }
  for (const CompiledEvent& event : model.compiled.events) {
    NamedKeys& keys = model.names[model.by_name.find(event.name)->second];
    const auto count = static_cast<std::uint32_t>(keys.step_count);
    for (auto& [index, step] : keys.steps) {
      if (index < count) step.command = command_of(event, index);
    }
  }
}

}  // namespace

Model make_model(const DefinitionEntries& entries) {
  Model model;
  sort_keys(model, entries);
  model.compiled = compile_events(entries);
  take_compiled(model);
  return model;
}

const NamedKeys* event_named(const Model& model, std::string_view name) {
  const auto found = model.by_name.find(name);
  if (found == model.by_name.end()) return nullptr;
  const NamedKeys& keys = model.names[found->second];
  return keys.exists ? &keys : nullptr;
}

bool read_index(const DefinitionEntry& entry, std::uint32_t& index) {
  return to_uint32(entry.index, 10, index) == NumberReading::kOk;
}

}  // namespace kovo::check
