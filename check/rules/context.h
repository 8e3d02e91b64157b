// What the functions of the rules share: what they look at, and how they report it.
#pragma once

#include <fmt/core.h>

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "check/findings.h"
#include "check/model.h"
#include "check/rules.h"
#include "check/source.h"
#include "check/triggers.h"
#include "check/words.h"
#include "core/templates.h"

namespace kovo::check {

/// What is wrong with a key that the daemon does not act on.
enum class KeyFault { kBlanks, kLetterCase, kTruncatedName, kUnknown, kIndex };

struct FaultyKey {
  std::uint32_t entry;
  KeyFault fault;
  MeantKey meant;
  std::string right;  // the key that was meant; "" if unknown
};

/// A name whose lines the daemon leaves out, since no Count line makes it an event.
struct MissingEvent {
  const NamedKeys& keys;
  SourceRange range;         // of the name in its first other line
  const NamedKeys* similar;  // the event whose name differs only in case and blanks, or null
};

struct CheckContext {
  const Source& source;
  const Model& model;
  const CheckOptions& options;
  Triggers triggers;
  NameSuggester event_names{};
  NameSuggester placeholders{};
  TemplateValues known{};                            // the values of placeholders
  std::unordered_set<std::string_view> in_status{};  // the names of the status
  std::vector<FaultyKey> faulty_keys{};              // in the file's order
  std::unordered_set<std::string> keys{};            // of the whole file
  std::unordered_set<std::string> meant_keys{};      // that are probably there, with mistakes
  std::unordered_set<std::string> unsure_names{};    // other lines may be meant for these events
  std::unordered_map<std::string_view, const NamedKeys*> found_by_trigger{};
  std::vector<MissingEvent> missing_events{};
  const RuleInfo* rule = nullptr;  // the one that runs
  Findings findings{};
};

/// Adds a finding of the rule that runs. Its fix replaces the bytes of `range`, and makes the edits
/// of `also` with it. A fix whose hint begins with kGuess is a guess.
void add_finding(CheckContext& context, Severity severity, const SourceRange& range,
                 std::string text, std::string hint = {}, std::optional<std::string> fix = {},
                 std::vector<Edit> also = {});

/// Narrows a range, which holds a text, and the fix that replaces it to the bytes that differ.
void narrow_fix(std::string_view text, SourceRange& range, std::string& fix);

/// Reports the event names that differ only in case, or also in blanks, from the name of an event.
void check_similar(CheckContext& context, bool in_blanks);

/// Reports the steps that lack a line of a field, unless a faulty key may be meant for it.
void check_missing_field(CheckContext& context, std::string_view field);

const DefinitionEntry& entry_at(const CheckContext& context, std::uint32_t entry);

/// Returns the severity of a finding about a key: an error if the daemon misses the key that was
/// meant.
Severity severity_of_missed(const CheckContext& context, const std::string& right);

/// Returns whether a text begins like a comment in other files. A key that does is an event's key
/// like any other; "commented-out" reports it, and all other rules leave it out.
bool looks_like_comment(std::string_view text);

/// Returns the trigger that the device raises and that differs from a text only in case, blanks or
/// quotes; "" when there is none.
std::string raised_spelling(const CheckContext& context, std::string_view trigger);

std::string step_text(std::uint32_t index, std::string_view name);

/// Return the bytes of an entry's key, of its value, and of the event name in its Count line.
SourceRange key_range(const CheckContext& context, std::uint32_t entry);
SourceRange value_range(const CheckContext& context, std::uint32_t entry);
SourceRange event_range(const CheckContext& context, const NamedKeys& keys);

/// Calls a function with the position of each entry of a field that the daemon acts on.
template <typename Function>
void for_each_entry(const CheckContext& context, std::string_view field, Function function) {
  const std::vector<DefinitionEntry>& entries = context.source.entries;
  for (std::uint32_t at = 0; at < entries.size(); ++at) {
    const DefinitionEntry& entry = entries[at];
    if (entry.field == field && acts_on(entry) && !looks_like_comment(entry.name)) function(at);
  }
}

/// One value of a step, and its names in texts.
struct StepValue {
  const DefinitionEntry& entry;
  SourceRange range;  // of the value
  std::string step;   // "step 0 of Door"
};

/// Calls a function with each value of a step's field.
template <typename Function>
void for_each_value(const CheckContext& context, std::string_view field, Function function) {
  for_each_entry(context, field, [&](std::uint32_t at) {
    const DefinitionEntry& entry = entry_at(context, at);
    std::uint32_t index = 0;
    if (entry.parts != 2) return;
    read_index(entry, index);
    function(StepValue{entry, value_range(context, at), step_text(index, entry.name)});
  });
}

/// Calls a function with the keys of each event, in the daemon's order.
template <typename Function>
void for_each_event(const CheckContext& context, Function function) {
  for (const std::uint32_t at : context.model.in_event_order) {
    const NamedKeys& keys = context.model.names[at];
    if (!looks_like_comment(keys.name)) function(keys);
  }
}

/// Returns whether other lines may be meant for an event; a rule about its keys reports them.
bool is_unsure(const CheckContext& context, const NamedKeys& keys);

/// A step of an event that has a line, and its names in texts.
struct NamedStep {
  const NamedKeys& keys;  // of its event
  const StepEntries& entries;
  SourceRange range;  // of its first key
  std::string text;   // "step 0 of Door"
};

/// Returns `length` bytes of a range, from the one at `from`.
SourceRange part_of(const SourceRange& range, std::size_t from, std::size_t length);

/// Returns "line 12" for the line of an entry.
std::string line_of(const CheckContext& context, std::uint32_t entry);

/// Return an entry's key as the file has it, escaped for texts, and with its value for texts.
std::string raw_key(const DefinitionEntry& entry);
std::string key_text(const DefinitionEntry& entry);
std::string line_text(const DefinitionEntry& entry);

/// Returns whether these are the keys of the event that a GenericEventsCount above 0 makes, none of
/// whose steps has a line.
bool is_generic_events(const NamedKeys& keys);

/// Calls a function with each step that has a line, unless other lines may be meant for its event.
template <typename Function>
void for_each_step(const CheckContext& context, Function function) {
  for_each_event(context, [&](const NamedKeys& keys) {
    if (is_unsure(context, keys)) return;
    for (const auto& [index, step] : keys.steps) {
      if (step.compiled == nullptr) break;
      function(NamedStep{keys, step, key_range(context, step.first), step_text(index, keys.name)});
    }
  });
}

}  // namespace kovo::check
