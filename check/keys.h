// Keys: whether the daemon acts on one, and which one was meant.
#pragma once

#include <string>
#include <string_view>

#include "core/definition_entry.h"

namespace kovo::check {

/// Returns whether the daemon acts on such a key: a global key, or a field word with an index where
/// it takes one and without an index where it does not.
bool is_known(const DefinitionEntry& entry);

/// Whether a field word has a meaning with the index of a step.
enum class Index { kRequired, kOptional, kForbidden };
Index index_of(std::string_view field);

/// A key read from its end, where the field word and the index of a step are.
struct MeantKey {
  std::string name;   // empty when the key does not end in a field word and an index
  std::string field;  // the field word, spelled correctly
  std::string index;
  std::size_t distance = 0;  // letters by which the key's field word differs
  bool same_case = true;     // the key contains the field word exactly
};

/// Returns the key that was meant: its field word case-insensitive, or with up to two wrong
/// letters.
MeantKey meant_key(std::string_view key);

/// Returns the whole key.
std::string text_of(const MeantKey& meant);

/// Returns the global key that equals a text, case-insensitive; null when there is none.
const char* find_global_key(std::string_view key);

/// The global keys, for "did you mean".
extern const char* const kGlobalKeys[4];

}  // namespace kovo::check
