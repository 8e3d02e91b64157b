// Rules about keys: those that the daemon ignores, reads as others, or reads twice.
#include <algorithm>

#include "check/check_context.h"
#include "core/event_compiler.h"

namespace kovo::check {
namespace {

constexpr char kForms[] =
    "write NameCount, NameXMLfield, NameDelay, or for step 0 NameProtocol0, NameIP0, NamePort0, "
    "NameData0, NameDelay0";

constexpr char kRenameEvent[] =
    "rename the event: its name must not contain Count, XMLfield, Protocol, Delay, IP, Port or "
    "Data";

/// Returns " and 3 more lines"; "" for none.
std::string and_more(std::size_t lines) {
  if (lines == 0) return {};
  return " and " + std::to_string(lines) + (lines == 1 ? " more line" : " more lines");
}

std::string question(const std::string& key) {
  return "did you mean " + shown(key) + "?";
}

/// Calls a function with each key that has a fault, and its entry.
template <typename Function>
void for_each_faulty(const CheckContext& context, KeyFault fault, Function function) {
  for (const FaultyKey& key : context.faulty_keys) {
    if (key.fault == fault) function(key, entry_at(context, key.entry));
  }
}

/// Reports a field word that is followed by text that is not an index, or lacks the index it needs.
void check_index_text(CheckContext& context, const FaultyKey& key, const DefinitionEntry& entry) {
  const SourceRange range = key_range(context, key.entry);
  if (entry.parts == 1) {
    const std::string right = raw_key(entry) + "0";
    add_finding(context, range, key_text(entry) + " is ignored: it has no step number",
                "write " + shown(right) + " for the first step", right);
    return;
  }
  std::uint32_t index = 0;
  if (takes_no_index(entry.field)) return;  // an unknown key
  const std::size_t at = entry.name.size() + entry.field.size();
  const SourceRange index_range = part_of(range, at, entry.index.size());
  if (read_index(entry, index) && index < kMaxSteps) {
    const std::string number = std::to_string(index);
    add_finding(context, context.rule->other, index_range,
                quoted(entry.index) + " is read as step " + number,
                "write " + shown(without_index(entry) + number), number);
    return;
  }
  const std::string text =
      key_text(entry) + " is ignored: " + quoted(entry.index) + " is not a valid step number";
  if (key.meant.name == entry.name) {
    add_finding(context, range, text, question(key.right), key.right);
  } else {
    add_finding(context, index_range, text,
                "write a number from 0 after " + std::string(entry.field));
  }
}

/// Returns the edits that number the steps of an event from 0 instead of from 1, except for the
/// key at `reported`, whose finding has its own.
std::vector<Edit> numbered_from_zero(const CheckContext& context, const NamedKeys& keys,
                                     std::uint32_t reported) {
  std::vector<Edit> edits;
  for (const std::uint32_t at : keys.entries) {
    const DefinitionEntry& entry = entry_at(context, at);
    std::uint32_t index = 0;
    if (at == reported || entry.parts != 2 || !is_known(entry) || !read_index(entry, index))
      continue;
    const std::size_t from = entry.name.size() + entry.field.size();
    edits.push_back(
        {part_of(key_range(context, at), from, entry.index.size()), std::to_string(index - 1)});
  }
  return edits;
}

/// Reports the step numbers of an event at or beyond its Count, once.
void check_index_numbers(CheckContext& context, const NamedKeys& keys) {
  const auto step_count = static_cast<std::uint32_t>(keys.event->most_steps);
  std::size_t lines = 0;
  std::uint32_t first = kNoEntry;  // of them
  std::uint32_t last = 0;          // the largest number
  for (const std::uint32_t at : keys.entries) {
    const DefinitionEntry& entry = entry_at(context, at);
    std::uint32_t index = 0;
    if (entry.parts != 2 || !is_known(entry)) continue;
    if (!read_index(entry, index)) index = kMaxSteps;
    if (index < step_count) continue;
    if (lines++ == 0) first = at;
    last = std::max(last, index);
  }
  if (lines == 0) return;
  const std::string name = shown(keys.name);
  const std::string count = name + "Count=" + std::to_string(step_count);
  std::string steps = " has only step 0";
  if (step_count == 2) steps = " has steps 0 and 1";
  if (step_count > 2) steps = " has steps 0 to " + std::to_string(step_count - 1);
  std::string hint = "write " + name + "Count=" + std::to_string(last + 1) +
                     " if it has that many steps; the first one is 0";
  std::optional<std::string> fix;
  std::vector<Edit> others;
  if (last >= kMaxSteps) {
    hint = "an event has at most 128 steps: move the others to another event";
  } else if (keys.steps.begin()->first == 1) {
    hint = "number the steps of " + name + " from 0, not from 1";
    if (last != step_count) {
      hint += ", and write " + name + "Count=" + std::to_string(last);
    } else {  // which is then the number of `first`
      fix = without_index(entry_at(context, first)) + std::to_string(last - 1);
      others = numbered_from_zero(context, keys, first);
    }
  }
  add_finding(context, key_range(context, first),
              key_text(entry_at(context, first)) + and_more(lines - 1) +
                  (lines > 1 ? " are" : " is") + " out of range: " + count + steps,
              hint, fix, std::move(others));
}

/// Returns whether a line that repeats a key is reported: not if another rule reports that its
/// event or its step does not exist.
bool is_reported(const CheckContext& context, const DefinitionEntry& entry) {
  if (looks_like_comment(entry.name)) return false;
  if (entry.parts == 0 || entry.field == kCountField) return true;
  const NamedKeys* keys = event_named(context.model, entry.name);
  std::uint32_t index = 0;
  if (keys == nullptr) return false;
  return entry.parts != 2 ||
         (read_index(entry, index) && index < static_cast<std::uint32_t>(keys->event->most_steps));
}

/// Returns what follows from two Count lines of one name.
std::string two_counts_text(std::string_view earlier, const DefinitionEntry& later) {
  const bool first = read_number(earlier).value > 0;
  const bool second = read_number(later.value).value > 0;
  if (first && second)
    return "there are two events " + shown(later.name) + ", the second is unused";
  return first || second ? "only one of the two defines an event" : "neither defines an event";
}

/// Reports the lines that repeat keys of one name, once.
void check_duplicates(CheckContext& context, const std::vector<Duplicate>& repeated) {
  const DefinitionEntry& entry = entry_at(context, repeated.front().later);
  const std::string line = line_of(context, repeated.front().earlier);
  const std::string key = key_text(entry);
  const SourceRange range = key_range(context, repeated.front().later);
  if (repeated.size() > 1) {
    add_finding(context, range,
                key + and_more(repeated.size() - 1) + " repeat keys from " + line +
                    " on: the last line counts",
                "remove one of each, or correct the event name or the step numbers");
    return;
  }
  const std::string outcome =
      entry.field == kCountField
          ? two_counts_text(entry_at(context, repeated.front().earlier).value, entry)
          : "the last line counts";
  add_finding(context, range, key + " is already on " + line + ": " + outcome,
              "remove one of the lines");
}

void check_global_key(CheckContext& context, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(context, position);
  const std::string line = line_text(entry);
  const SourceRange range = key_range(context, position);
  if (entry.name == "EnableEvents" && entry.parts == 0 && entry.value != "true") {
    add_finding(context, range, line + " does not disable the events",
                "set the device parameter ENABLE_KOVO_EVENT instead");
  }
  if (entry.name == "FastCableDetectEvents" && entry.parts == 0) {
    add_finding(context, range, "FastCableDetectEvents has no effect");
  }
  if (entry.name == "DataEncode" && entry.parts == 0 && entry.value != "HEX") {
    add_finding(context, range, line + " has no effect: Data is always hexadecimal",
                "write DataEncode=HEX, and the Data values in hexadecimal");
  }
  const NamedKeys* event = event_named(context.model, entry.name);
  if (event != nullptr && entry.field == kCountField && is_generic_events(*event)) {
    add_finding(context, range, line + " defines an event GenericEvents whose steps are empty",
                "write GenericEventsCount=0; every event has its own Count");
  }
}

/// Reports a name that differs from an event's name only in case.
void check_similar(CheckContext& context, const MissingEvent& missing) {
  if (missing.similar == nullptr) return;
  const NamedKeys& event = *missing.similar;
  const std::string count_line = line_of(context, event.counts.front());
  const std::string name = shown(missing.keys.name);
  const bool has_more_keys = event.entries.size() >= missing.keys.entries.size();
  const std::string_view right = has_more_keys ? event.name : missing.keys.name;
  std::vector<Edit> others;
  for (const std::uint32_t at : has_more_keys ? missing.keys.entries : event.entries) {
    const SourceRange range = part_of(key_range(context, at), 0, right.size());
    if (range.line != missing.range.line) others.push_back({range, std::string(right)});
  }
  add_finding(context, missing.range,
              name + " does not exist: the Count on " + count_line + " is for " + shown(event.name),
              has_more_keys ? "write " + shown(event.name) + " instead of " + name
                            : "write " + name + "Count on " + count_line,
              std::string(right), std::move(others));
}

/// Reports all lines of an event as one mistake: they were commented out together.
void check_comment(CheckContext& context, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(context, position);
  const SourceRange range = key_range(context, position);
  const NamedKeys* event = entry.parts == 0 ? nullptr : event_named(context.model, entry.name);
  const std::size_t lines = event == nullptr ? 1 : event->entries.size();
  const char* hint = lines == 1 ? "delete it, or remove the \"=\" to make it a comment"
                                : "delete them, or remove each \"=\" to make them comments";
  if (event == nullptr) {
    add_finding(context, context.rule->other, range,
                "this line has no effect, but it is not a comment", hint);
  } else if (event->entries.front() == position) {
    add_finding(
        context, range,
        (lines == 1 ? "this line still defines" : counted(lines, "line") + " still define") +
            " the event " + quoted(entry.name),
        hint);
  }
}

}  // namespace

void check_commented_out(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    if (looks_like_comment(entry_at(context, at).name)) check_comment(context, at);
  }
}

void check_unknown_key(CheckContext& context) {
  const NameSuggester globals = make_suggester({std::begin(kGlobalKeys), std::end(kGlobalKeys)});
  for_each_faulty(context, KeyFault::kUnknown, [&](const FaultyKey& key, const auto& entry) {
    std::string right = nearest_name(globals, entry.name);
    if (right.empty() && !key.meant.name.empty()) right = key.right;
    add_finding(context, key_range(context, key.entry),
                quoted(raw_key(entry)) + " is not a known key and is ignored",
                right.empty() ? kForms : question(right),
                right.empty() ? std::nullopt : std::optional(right));
  });
  for_each_faulty(context, KeyFault::kIndex, [&](const FaultyKey& key, const auto& entry) {
    if (entry.parts != 2 || !takes_no_index(entry.field)) return;
    const std::string right = without_index(entry);
    add_finding(
        context, key_range(context, key.entry),
        key_text(entry) + " is ignored: " + std::string(entry.field) + " takes no step number",
        "write " + shown(right), right);
  });
}

void check_letter_case(CheckContext& context) {
  for_each_faulty(context, KeyFault::kLetterCase, [&](const FaultyKey& key, const auto& entry) {
    add_finding(context, key_range(context, key.entry),
                key_text(entry) + " is ignored: keys are case-sensitive",
                "write " + shown(key.right), key.right);
  });
  for (const MissingEvent& missing : context.missing_events) check_similar(context, missing);
}

/// Reports an event name once: the end of a key is right, but the name contains a field word.
void check_truncated_name(CheckContext& context) {
  std::unordered_set<std::string_view> reported;
  for_each_faulty(context, KeyFault::kTruncatedName, [&](const FaultyKey& key, const auto& entry) {
    const std::string& whole_name = key.meant.name;
    if (!reported.insert(whole_name).second) return;
    const SourceRange range = key_range(context, key.entry);
    const std::string name = shown(whole_name);
    if (entry.parts == 0) {
      add_finding(context, part_of(range, 0, whole_name.size()),
                  key_text(entry) + " is ignored: the event name " + name + " begins with \"" +
                      key.meant.field + "\"",
                  kRenameEvent);
      return;
    }
    const std::string field(entry.field);
    add_finding(context, part_of(range, entry.name.size(), field.size()),
                "the event name " + name + " is truncated at \"" + field +
                    "\": " + key_text(entry) + " is read as " + field + " of " + shown(entry.name),
                kRenameEvent);
  });
}

void check_index(CheckContext& context) {
  for_each_faulty(context, KeyFault::kIndex, [&](const FaultyKey& key, const auto& entry) {
    check_index_text(context, key, entry);
  });
  for_each_event(context, [&](const NamedKeys& keys) { check_index_numbers(context, keys); });
}

void check_duplicate_key(CheckContext& context) {
  std::vector<std::vector<Duplicate>> repeated;  // by name
  std::unordered_map<std::string_view, std::size_t> positions;
  for (const Duplicate& duplicate : context.model.duplicates) {
    const DefinitionEntry& entry = entry_at(context, duplicate.later);
    if (!is_reported(context, entry)) continue;
    const std::size_t position = positions.emplace(entry.name, repeated.size()).first->second;
    if (position == repeated.size()) repeated.emplace_back();
    repeated[position].push_back(duplicate);
  }
  for (const std::vector<Duplicate>& each : repeated) check_duplicates(context, each);
}

void check_no_effect(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    check_global_key(context, at);
  }
}

}  // namespace kovo::check
