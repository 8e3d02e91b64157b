// Rules about keys: those that the daemon ignores, reads as others, or reads twice.
#include <algorithm>

#include "check/rules/context.h"
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
  return lines == 0 ? "" : " and " + counted(lines, "more line");
}

std::string question(const std::string& key) {
  return fmt::format("{}{}?", kGuess, shown(key));
}

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
    add_error(context, range, key_text(entry) + " is ignored: it has no step number",
              fmt::format("write {} for the first step", shown(key.right)), key.right);
    return;
  }
  std::uint32_t index = 0;
  if (index_of(entry.field) == Index::kForbidden) return;  // an unknown key
  const std::size_t at = entry.name.size() + entry.field.size();
  const SourceRange index_range = part_of(range, at, entry.index.size());
  if (read_index(entry, index) && index < kMaxSteps) {
    add_warning(context, index_range,
                fmt::format("{} is read as step {}", quoted(entry.index), index),
                "write " + shown(key.right), std::to_string(index));
    return;
  }
  const std::string text = fmt::format("{} is ignored: {} is not a valid step number",
                                       key_text(entry), quoted(entry.index));
  if (key.meant.name == entry.name) {
    add_error(context, range, text, question(key.right), key.right);
  } else {
    add_error(context, index_range, text,
              fmt::format("write a number from 0 after {}", entry.field));
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
  std::string steps = "only step 0";
  if (step_count == 2) steps = "steps 0 and 1";
  if (step_count > 2) steps = fmt::format("steps 0 to {}", step_count - 1);
  std::string hint =
      fmt::format("write {}Count={} if it has that many steps; the first one is 0", name, last + 1);
  std::optional<std::string> fix;
  std::vector<Edit> others;
  if (last >= kMaxSteps) {
    hint = "an event has at most 128 steps: move the others to another event";
  } else if (keys.steps.begin()->first == 1) {
    hint = fmt::format("number the steps of {} from 0, not from 1", name);
    if (last != step_count) {
      hint += fmt::format(", and write {}Count={}", name, last);
    } else {  // which is then the number of `first`
      fix = without_index(entry_at(context, first)) + std::to_string(last - 1);
      others = numbered_from_zero(context, keys, first);
    }
  }
  add_error(
      context, key_range(context, first),
      fmt::format("{}{} {} out of range: {}Count={} has {}", key_text(entry_at(context, first)),
                  and_more(lines - 1), lines > 1 ? "are" : "is", name, step_count, steps),
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
  if (first && second) {
    return fmt::format("there are two events {}, the second is unused", shown(later.name));
  }
  return first || second ? "only one of the two defines an event" : "neither defines an event";
}

/// Returns whether lines define an event again, with other steps: the first event is lost.
bool is_other_event(const CheckContext& context, const std::vector<Duplicate>& repeated) {
  const auto is_count = [&](const Duplicate& each) {
    return entry_at(context, each.later).field == kCountField;
  };
  const auto differs = [&](const Duplicate& each) {
    return entry_at(context, each.earlier).value != entry_at(context, each.later).value;
  };
  return std::any_of(repeated.begin(), repeated.end(), is_count) &&
         std::any_of(repeated.begin(), repeated.end(), differs);
}

/// Reports the lines that repeat keys of one name, once.
void check_duplicates(CheckContext& context, const std::vector<Duplicate>& repeated) {
  const DefinitionEntry& entry = entry_at(context, repeated.front().later);
  const std::string line = line_of(context, repeated.front().earlier);
  const std::string key = key_text(entry);
  const SourceRange range = key_range(context, repeated.front().later);
  if (repeated.size() > 1) {
    const bool is_other = is_other_event(context, repeated);
    add_finding(
        context, is_other ? Severity::kError : Severity::kWarning, range,
        fmt::format("{}{} repeat keys from {} on: {}", key, and_more(repeated.size() - 1), line,
                    is_other ? "the first event " + shown(entry.name) + " is lost"
                             : "the last line counts"),
        is_other ? "write another event name, and another trigger"
                 : "remove one of each, or correct the event name or the step numbers");
    return;
  }
  add_warning(
      context, range,
      fmt::format("{} is already on {}: {}", key, line,
                  entry.field == kCountField
                      ? two_counts_text(entry_at(context, repeated.front().earlier).value, entry)
                      : "the last line counts"),
      "remove one of the lines");
}

void check_global_key(CheckContext& context, std::uint32_t position) {
  const DefinitionEntry& entry = entry_at(context, position);
  const std::string line = line_text(entry);
  const SourceRange range = key_range(context, position);
  if (entry.name == "EnableEvents" && entry.parts == 0 && entry.value != "true") {
    add_note(context, range, line + " does not disable the events",
             "set the device parameter ENABLE_KOVO_EVENT instead");
  }
  if (entry.name == "FastCableDetectEvents" && entry.parts == 0) {
    add_note(context, range, "FastCableDetectEvents has no effect");
  }
  if (entry.name == "DataEncode" && entry.parts == 0 && entry.value != "HEX") {
    add_note(context, range, line + " has no effect: Data is always hexadecimal",
             "write DataEncode=HEX, and the Data values in hexadecimal");
  }
  const NamedKeys* event = event_named(context.model, entry.name);
  if (event != nullptr && entry.field == kCountField && is_generic_events(*event)) {
    add_note(context, range, line + " defines an event GenericEvents whose steps are empty",
             "write GenericEventsCount=0; every event has its own Count");
  }
}

void check_second_key(CheckContext& context, std::uint32_t position, const SecondKey& second) {
  add_finding(context, severity_of_missed(context, std::string(second.key)),
              part_of(value_range(context, position), second.at, second.length),
              fmt::format("{} is not read as a key: it is part of the value of {}",
                          shown(second.key), key_text(entry_at(context, position))),
              fmt::format("{}a line of its own for {}?", kGuess, shown(second.key)), "\n");
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
    add_note(context, range, "this line has no effect, but it is not a comment", hint);
  } else if (event->entries.front() == position) {
    add_error(context, range,
              fmt::format(
                  "{} the event {}",
                  lines == 1 ? "this line still defines" : counted(lines, "line") + " still define",
                  quoted(entry.name)),
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
    if (right.empty()) right = key.right;
    add_finding(context, severity_of_missed(context, right), key_range(context, key.entry),
                quoted(raw_key(entry)) + " is not a known key and is ignored",
                right.empty() ? kForms : question(right),
                right.empty() ? std::nullopt : std::optional(right));
  });
  for_each_faulty(context, KeyFault::kIndex, [&](const FaultyKey& key, const auto& entry) {
    if (entry.parts != 2 || index_of(entry.field) != Index::kForbidden) return;
    add_finding(context, severity_of_missed(context, key.right), key_range(context, key.entry),
                fmt::format("{} is ignored: {} takes no step number", key_text(entry), entry.field),
                "write " + shown(key.right), key.right);
  });
  for (const auto& [at, second] : context.second_keys) check_second_key(context, at, second);
}

void check_letter_case(CheckContext& context) {
  for_each_faulty(context, KeyFault::kLetterCase, [&](const FaultyKey& key, const auto& entry) {
    add_error(context, key_range(context, key.entry),
              key_text(entry) + " is ignored: keys are case-sensitive", "write " + shown(key.right),
              key.right);
  });
  check_similar(context, false);
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
      add_error(context, part_of(range, 0, whole_name.size()),
                fmt::format("{} is ignored: the event name {} begins with \"{}\"", key_text(entry),
                            name, key.meant.field),
                kRenameEvent);
      return;
    }
    add_error(context, part_of(range, entry.name.size(), entry.field.size()),
              fmt::format("the event name {0} is truncated at \"{1}\": {2} is read as {1} of {3}",
                          name, entry.field, key_text(entry), shown(entry.name)),
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
