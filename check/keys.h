// Keys: which of them the daemon acts on, and which one was meant.
#pragma once

#include <string>
#include <string_view>

#include "definitions/definition_entry.h"

namespace kovo::check {

/// True when the daemon acts on a key of that form: a global key, or a field word with an index
/// where it takes one and without where it does not.
bool is_known(const DefinitionEntry& entry);

/// True for the field words that stand with an index alone, and those that stand without one alone.
bool needs_index(std::string_view field);
bool takes_no_index(std::string_view field);

/// A key read from its end, where the field word and the index of a step stand.
struct MeantKey {
  std::string name;   // empty when the key does not end like one
  std::string field;  // the field word as it is spelt right
  std::string index;
  std::size_t distance = 0;  // letters by which the field word differs
  bool same_case = true;     // the field word stands in the key as it is
};

/// The key that was meant, its field word in any letter case or with two letters wrong.
MeantKey meant_key(std::string_view key);

/// The global key of a text in any letter case; null when there is none.
const char* find_global_key(std::string_view key);

/// The global keys, for "did you mean".
extern const char* const kGlobalKeys[4];

}  // namespace kovo::check
