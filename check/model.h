// The entries of a definition file by event name and step, the events that the daemon compiles from
// them, and the keys that were meant.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/definition_entry.h"
#include "core/event_compiler.h"

namespace kovo::check {

constexpr std::uint32_t kNoEntry = UINT32_MAX;

/// The entries that count for one step; kNoEntry where there is none.
struct StepEntries {
  std::uint32_t protocol = kNoEntry;
  std::uint32_t ip = kNoEntry;
  std::uint32_t port = kNoEntry;
  std::uint32_t data = kNoEntry;
  std::uint32_t delay = kNoEntry;
  std::uint32_t first = kNoEntry;          // of the file
  const CompiledStep* compiled = nullptr;  // null at or beyond the Count
};

/// All keys of one event name.
struct NamedKeys {
  std::string_view name;
  std::vector<std::uint32_t> entries;          // all, in the file's order
  std::vector<std::uint32_t> counts;           // its "Count" lines
  std::uint32_t trigger = kNoEntry;            // its last "XMLfield" line
  std::uint32_t delay = kNoEntry;              // its last "Delay" line without index
  std::map<std::uint32_t, StepEntries> steps;  // by index
  const CompiledEvent* event = nullptr;        // null when no Count line makes it
};

struct Duplicate {
  std::uint32_t earlier;
  std::uint32_t later;
};

struct Model {
  CompiledEvents compiled;       // as the daemon has it
  std::vector<NamedKeys> names;  // in the order of their first keys
  std::unordered_map<std::string_view, std::uint32_t> by_name;
  std::vector<std::uint32_t> in_event_order;  // positions in `names` of the events
  std::vector<Duplicate> duplicates;          // the same key twice
};

/// Finds the entries of each name and step, also of those that the daemon ignores.
Model make_model(const DefinitionEntries& entries);

/// Returns the keys of an event; null when there is no such event.
const NamedKeys* event_named(const Model& model, std::string_view name);

/// Reads the index of a step's key as the daemon does; returns false for a text that it skips.
bool read_index(const DefinitionEntry& entry, std::uint32_t& index);

/// Returns whether a key is written as it should be: a global key, or a field word with an index
/// where it takes one and without an index where it does not.
bool is_known(const DefinitionEntry& entry);

/// Returns whether the daemon acts on a key: it ignores what follows the digits of an index.
bool acts_on(const DefinitionEntry& entry);

/// Whether a field word has a meaning with the index of a step.
enum class Index { kRequired, kOptional, kForbidden };
Index index_of(std::string_view field);

/// A key read from its end, where the field word and the index of a step are.
struct MeantKey {
  std::string name;          // empty when the key does not end in a field word and an index
  std::string field;         // the field word, spelled correctly
  std::string key;           // the whole key with it
  std::size_t distance = 0;  // letters by which the key's field word differs
  bool same_case = true;     // the key contains the field word exactly
};

/// Returns the key that was meant: its field word case-insensitive, or with up to two wrong
/// letters.
MeantKey meant_key(std::string_view key);

/// The global keys, for "did you mean".
extern const std::string_view kGlobalKeys[4];

}  // namespace kovo::check
