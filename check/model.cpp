#include "check/model.h"

#include <algorithm>

#include "check/words.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::check {
namespace {

std::uint32_t* slot_of(StepEntries& step, std::string_view field) {
  if (field == kProtocolField) return &step.protocol;
  if (field == kIpField) return &step.ip;
  if (field == kPortField) return &step.port;
  if (field == kDataField) return &step.data;
  return field == kDelayField ? &step.delay : nullptr;
}

/// Records a duplicate when the slot has an entry already; the last one counts.
void set_entry(Model& model, std::uint32_t& slot, std::uint32_t entry) {
  if (slot != kNoEntry) model.duplicates.push_back({slot, entry});
  slot = entry;
}

void add_event_key(Model& model, NamedKeys& keys, const DefinitionEntry& entry,
                   std::uint32_t position) {
  if (entry.field == kCountField) {
    if (!keys.counts.empty()) model.duplicates.push_back({keys.counts.back(), position});
    keys.counts.push_back(position);
  }
  if (entry.field == kTriggerField) set_entry(model, keys.trigger, position);
  if (entry.field == kDelayField) set_entry(model, keys.delay, position);
}

void add_step_key(Model& model, NamedKeys& keys, const DefinitionEntry& entry,
                  std::uint32_t position) {
  std::uint32_t index = 0;
  StepEntries unread;
  if (slot_of(unread, entry.field) == nullptr || !read_index(entry, index)) return;
  StepEntries& step = keys.steps[index];
  if (step.first == kNoEntry) step.first = position;
  set_entry(model, *slot_of(step, entry.field), position);
}

NamedKeys& keys_of(Model& model, std::string_view name) {
  const auto position = static_cast<std::uint32_t>(model.names.size());
  const auto [found, is_new] = model.by_name.emplace(name, position);
  if (is_new) model.names.emplace_back().name = name;
  return model.names[found->second];
}

void index_entries(Model& model, const DefinitionEntries& entries) {
  std::unordered_map<std::string_view, std::uint32_t> plain_keys;
  std::uint32_t position = 0;
  for (const DefinitionEntry& entry : entries) {
    if (entry.parts == 0) {
      const auto [found, is_new] = plain_keys.emplace(entry.name, position);
      if (!is_new) set_entry(model, found->second, position);
    } else {
      NamedKeys& keys = keys_of(model, entry.name);
      keys.entries.push_back(position);
      if (entry.parts == 1) add_event_key(model, keys, entry, position);
      if (entry.parts == 2) add_step_key(model, keys, entry, position);
    }
    ++position;
  }
}

void link_compiled(Model& model) {
  for (const CompiledEvent& event : model.compiled.events) {
    const std::uint32_t position = model.by_name.find(event.name)->second;
    NamedKeys& keys = model.names[position];
    keys.event = &event;
    model.in_event_order.push_back(position);
    for (const CompiledStep& step : event.steps) {
      const auto found = keys.steps.find(static_cast<std::uint32_t>(step.index));
      if (found != keys.steps.end()) found->second.compiled = &step;
    }
  }
}

/// Returns how many letters may be wrong: two in a long word, one in a short one, none in "IP".
std::size_t most_wrong(std::string_view word) {
  return word.size() < 3 ? 0 : word.size() < 5 ? 1 : 2;
}

/// Looks for a field word at the end of a text, of any length, in any case and with few wrong
/// letters, and stores it if it is nearer than `best`.
void spell_word(std::string_view stem, std::string_view word, MeantKey& best) {
  if (lower_ascii(stem) == lower_ascii(word)) return;  // without a name
  const std::size_t most = most_wrong(word);
  for (std::size_t length = word.size() - most; length <= word.size() + most; ++length) {
    if (length == 0 || length >= stem.size()) continue;
    const std::string_view end = stem.substr(stem.size() - length);
    const std::size_t distance = edit_distance(lower_ascii(end), lower_ascii(word));
    if (distance > most || (!best.name.empty() && distance >= best.distance)) continue;
    best = {std::string(stem.substr(0, stem.size() - length)),
            std::string(word),
            {},
            distance,
            end == word};
  }
}

}  // namespace

Model make_model(const DefinitionEntries& entries) {
  Model model;
  index_entries(model, entries);
  model.compiled = compile_events(entries);
  link_compiled(model);
  return model;
}

const NamedKeys* event_named(const Model& model, std::string_view name) {
  const auto found = model.by_name.find(name);
  if (found == model.by_name.end()) return nullptr;
  const NamedKeys& keys = model.names[found->second];
  return keys.event == nullptr ? nullptr : &keys;
}

bool read_index(const DefinitionEntry& entry, std::uint32_t& index) {
  return to_uint32(entry.index, 10, index) == NumberReading::kOk;
}

const std::string_view kGlobalKeys[4] = {"EnableEvents", "FastCableDetectEvents", "DataEncode",
                                         "GenericEventsCount"};

Index index_of(std::string_view field) {
  if (field == kCountField || field == kTriggerField) return Index::kForbidden;
  return field == kDelayField ? Index::kOptional : Index::kRequired;
}

bool is_known(const DefinitionEntry& entry) {
  const auto* end = std::end(kGlobalKeys);
  if (entry.parts == 0) return std::find(std::begin(kGlobalKeys), end, entry.name) != end;
  if (entry.parts == 1) return index_of(entry.field) != Index::kRequired;
  return index_of(entry.field) != Index::kForbidden && is_digits(entry.index);
}

bool acts_on(const DefinitionEntry& entry) {
  std::uint32_t index = 0;
  return is_known(entry) || (entry.parts == 2 && index_of(entry.field) != Index::kForbidden &&
                             read_index(entry, index));
}

MeantKey meant_key(std::string_view key) {
  const std::size_t digits = key.find_last_not_of("0123456789") + 1;
  const bool has_index = digits < key.size();
  MeantKey meant;
  for (const std::string_view word : kFieldWords) {
    const bool fits = index_of(word) != (has_index ? Index::kForbidden : Index::kRequired);
    if (fits) spell_word(key.substr(0, digits), word, meant);
  }
  if (!meant.name.empty()) meant.key = (meant.name + meant.field).append(key.substr(digits));
  return meant;
}

}  // namespace kovo::check
