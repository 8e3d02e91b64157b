// A definition file in the order of its events: which lines belong to which name and step, and what
// the daemon makes of them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "check/source.h"
#include "definitions/event_compiler.h"

namespace kovo::check {

constexpr std::uint32_t kNoEntry = UINT32_MAX;

/// The entries that count for one step; kNoEntry where there is none.
struct StepEntries {
  std::uint32_t protocol = kNoEntry;
  std::uint32_t ip = kNoEntry;
  std::uint32_t port = kNoEntry;
  std::uint32_t data = kNoEntry;
  std::uint32_t delay = kNoEntry;
  std::uint32_t first = kNoEntry;     // of the file
  std::optional<SubCommand> command;  // as compiled; none at or beyond the count
};

/// All keys of one event name.
struct NamedKeys {
  std::string_view name;
  std::vector<std::uint32_t> entries;  // all, in the file's order
  std::vector<std::uint32_t> counts;   // its "Count" lines
  std::uint32_t trigger = kNoEntry;    // its last "XMLfield" line
  std::uint32_t delay = kNoEntry;      // its last "Delay" line without index
  std::map<std::uint32_t, StepEntries> steps;

  // As compiled.
  bool exists = false;
  std::int32_t step_count = 0;   // the largest of its "Count" lines
  std::int32_t first_count = 0;  // the first one, of the event that a push finds
  std::string_view compiled_trigger;
  std::int32_t delay_s = 0;
};

struct Duplicate {
  std::uint32_t earlier;
  std::uint32_t later;
};

struct Model {
  CompiledEvents compiled;       // as the daemon has it
  std::vector<NamedKeys> names;  // in the order of their first keys
  std::unordered_map<std::string_view, std::uint32_t> by_name;
  std::vector<std::uint32_t> in_event_order;  // positions in `names` of those that exist
  std::vector<Duplicate> duplicates;          // the same key twice
};

/// Takes apart entries and what the daemon compiles from them; the entries must outlive the result.
Model make_model(const DefinitionEntries& entries);

/// The keys of an event that exists, or null.
const NamedKeys* event_named(const Model& model, std::string_view name);

/// The index of a step's key as the daemon reads it; false for text that it skips.
bool read_index(const DefinitionEntry& entry, std::uint32_t& index);

}  // namespace kovo::check
