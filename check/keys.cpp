#include "check/keys.h"

#include <algorithm>

#include "check/words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns how many letters may be wrong: two in a long word, one in a short one, none in "IP".
std::size_t most_wrong(std::string_view word) {
  return word.size() < 3 ? 0 : word.size() < 5 ? 1 : 2;
}

bool ends_with_nocase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && equals_nocase(text.substr(text.size() - end.size()), end);
}

/// Looks for a field word at the end of a text, of any length and with few wrong letters, and
/// stores it if it is nearer than `best`.
void spell_word(std::string_view stem, std::string_view word, const std::string& index,
                MeantKey& best) {
  const std::size_t most = most_wrong(word);
  for (std::size_t length = word.size() - most; length <= word.size() + most; ++length) {
    if (length == 0 || length >= stem.size()) continue;
    const std::string_view end = stem.substr(stem.size() - length);
    const std::size_t distance = edit_distance(end, word);
    if (distance > most || (!best.name.empty() && distance >= best.distance)) continue;
    best = {std::string(stem.substr(0, stem.size() - length)), std::string(word), index, distance,
            false};
  }
}

}  // namespace

const char* const kGlobalKeys[4] = {"EnableEvents", "FastCableDetectEvents", "DataEncode",
                                    "GenericEventsCount"};

Index index_of(std::string_view field) {
  if (field == kCountField || field == kTriggerField) return Index::kForbidden;
  return field == kDelayField ? Index::kOptional : Index::kRequired;
}

bool is_known(const DefinitionEntry& entry) {
  if (entry.parts == 0) {
    const char* global = find_global_key(entry.name);
    return global != nullptr && entry.name == global;
  }
  if (entry.parts == 1) return index_of(entry.field) != Index::kRequired;
  return index_of(entry.field) != Index::kForbidden && is_digits(entry.index);
}

MeantKey meant_key(std::string_view key) {
  const std::size_t digits = key.find_last_not_of("0123456789") + 1;
  const std::string_view stem = key.substr(0, digits);
  const std::string index(key.substr(digits));
  MeantKey best;
  const auto fits = [&](std::string_view word) {
    return index_of(word) != (index.empty() ? Index::kRequired : Index::kForbidden);
  };
  for (const std::string_view word : kFieldWords) {
    if (!fits(word)) continue;
    if (stem.size() > word.size() && ends_with_nocase(stem, word)) {
      const std::size_t name = stem.size() - word.size();
      return {std::string(stem.substr(0, name)), std::string(word), index, 0,
              stem.substr(name) == word};
    }
  }
  for (const std::string_view word : kFieldWords) {
    if (fits(word)) spell_word(stem, word, index, best);
  }
  return best;
}

std::string text_of(const MeantKey& meant) {
  return meant.name + meant.field + meant.index;
}

const char* find_global_key(std::string_view key) {
  const auto found = std::find_if(std::begin(kGlobalKeys), std::end(kGlobalKeys),
                                  [=](const char* name) { return equals_nocase(key, name); });
  return found == std::end(kGlobalKeys) ? nullptr : *found;
}

}  // namespace kovo::check
