#include "tryout/step_edits.h"

#include <algorithm>
#include <set>

#include "check/keys.h"
#include "check/model.h"
#include "check/words.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::tryout {
namespace {

using check::kNoEntry;
using check::Model;
using check::NamedKeys;

constexpr char kNoEvent[] = "no event has this name";
constexpr char kNoStep[] = "the event has no step with this number";

std::size_t offset_of(const Definition& definition, std::string_view part) {
  return static_cast<std::size_t>(part.data() - definition.text.data());
}

const check::SourceLine& line_of(const Definition& definition, std::uint32_t entry) {
  return definition.source.lines[definition.source.entry_lines[entry]];
}

Model model_of(const Definition& definition) {
  return check::make_model(definition.source.definitions);
}

const NamedKeys* keys_of(const Model& model, std::string_view event) {
  const auto found = model.by_name.find(event);
  return found == model.by_name.end() ? nullptr : &model.names[found->second];
}

Edit replaced_value(const Definition& definition, std::uint32_t entry, std::string value) {
  const std::string_view text = line_of(definition, entry).text;
  const std::size_t length = definition.source.entries[entry].value.size();
  return {offset_of(definition, text) + text.size() - length, length, std::move(value)};
}

Edit replaced_line(const Definition& definition, std::uint32_t entry, std::string text) {
  const std::string_view line = line_of(definition, entry).text;
  return {offset_of(definition, line), line.size(), std::move(text)};
}

/// Removes the whole line with its newline; keeps a byte order mark.
Edit removed_line(const Definition& definition, std::uint32_t entry) {
  const std::size_t offset = offset_of(definition, line_of(definition, entry).text);
  const std::size_t end = definition.text.find('\n', offset);
  const std::size_t size = definition.text.size();
  return {offset, (end == std::string::npos ? size : end + 1) - offset, {}};
}

/// Inserts whole lines after that of an entry; at the end of the file for kNoEntry.
Edit lines_after(const Definition& definition, std::uint32_t entry, const std::string& lines) {
  const std::string& text = definition.text;
  const std::size_t line = entry == kNoEntry
                               ? text.find_last_not_of('\n')
                               : offset_of(definition, line_of(definition, entry).text);
  if (line == std::string::npos) return {0, 0, lines + "\n"};
  const std::size_t end = text.find('\n', line);
  if (end == std::string::npos) return {text.size(), 0, "\n" + lines};
  return {end + 1, 0, lines + "\n"};
}

std::string renumbered(const DefinitionEntry& entry, std::uint32_t index) {
  std::string line(entry.name);
  return line.append(entry.field).append(std::to_string(index)).append("=").append(entry.value);
}

/// Returns the entries of one step, in the file's order.
std::vector<std::uint32_t> entries_of(const Definition& definition, const NamedKeys& keys,
                                      std::uint32_t index) {
  std::vector<std::uint32_t> entries;
  for (const std::uint32_t entry : keys.entries) {
    const DefinitionEntry& each = definition.source.entries[entry];
    std::uint32_t found = 0;
    if (each.parts == 2 && check::read_index(each, found) && found == index) {
      entries.push_back(entry);
    }
  }
  return entries;
}

Edits finished(std::vector<Edit> list) {
  std::sort(list.begin(), list.end(),
            [](const Edit& a, const Edit& b) { return a.offset < b.offset; });
  return {std::move(list), {}};
}

std::string step_lines(const NewStep& step, std::uint32_t index) {
  const auto line = [&](const char* field, const std::string& value) {
    return step.event + field + std::to_string(index) + "=" + value;
  };
  std::string lines = line("Protocol", step.protocol + (step.sends_status ? "Status" : ""));
  lines += "\n" + line("IP", step.address) + "\n" + line("Port", step.port);
  if (!step.sends_status) lines += "\n" + line("Data", check::as_hex(step.payload));
  return lines + "\n" + line("Delay", step.delay.empty() ? "0" : step.delay);
}

/// Returns the lines of a new event before those of its step.
std::string event_lines(const NewStep& step, std::uint32_t count) {
  std::string lines = step.event + "Count=" + std::to_string(count) + "\n";
  if (!step.event_delay.empty()) lines += step.event + "Delay=" + step.event_delay + "\n";
  if (!step.trigger.empty() && step.trigger != step.event) {
    lines += step.event + "XMLfield=" + step.trigger + "\n";
  }
  return lines;
}

std::string problem_of(const NewStep& step, std::uint32_t index) {
  if (step.event.empty()) return "enter an event name";
  const std::string text = step.event + "IP0";
  const DefinitionEntry key = split_definition_key(text, {});
  if (key.name != step.event || step.event.find_first_of("= \t") != std::string::npos) {
    return "an event name must not contain blanks, \"=\", Count, XMLfield, Protocol, Delay, IP, "
           "Port "
           "or Data";
  }
  if (index >= kMaxSteps) return "an event has at most " + std::to_string(kMaxSteps) + " steps";
  if (step.payload.empty() && !step.sends_status) return "enter a payload";
  return {};
}

std::uint32_t free_index(const NamedKeys* keys) {
  if (keys == nullptr) return 0;
  const std::uint32_t count =
      keys->event == nullptr ? 0 : static_cast<std::uint32_t>(keys->event->most_steps);
  return keys->steps.empty() ? count : std::max(count, keys->steps.rbegin()->first + 1);
}

}  // namespace

Edits add_step(const Definition& definition, const NewStep& step) {
  const Model model = model_of(definition);
  const NamedKeys* keys = keys_of(model, step.event);
  const std::uint32_t index = free_index(keys);
  std::string problem = problem_of(step, index);
  if (!problem.empty()) return {{}, std::move(problem)};
  std::vector<Edit> edits;
  std::string lines = step_lines(step, index);
  if (keys == nullptr || keys->counts.empty()) {
    lines = event_lines(step, index + 1) + lines;
  } else {
    edits.push_back(replaced_value(definition, keys->counts.back(), std::to_string(index + 1)));
  }
  edits.push_back(
      lines_after(definition, keys == nullptr ? kNoEntry : keys->entries.back(), lines));
  return finished(std::move(edits));
}

Edits set_payload(const Definition& definition, std::string_view event, std::uint32_t index,
                  std::string_view bytes) {
  const Model model = model_of(definition);
  const NamedKeys* keys = keys_of(model, event);
  if (keys == nullptr) return {{}, kNoEvent};
  const auto step = keys->steps.find(index);
  if (step == keys->steps.end()) return {{}, kNoStep};
  if (bytes.empty()) return {{}, "enter a payload"};
  std::string digits = check::as_hex(bytes);
  if (step->second.data != kNoEntry) {
    return finished({replaced_value(definition, step->second.data, std::move(digits))});
  }
  const std::uint32_t last = entries_of(definition, *keys, index).back();
  std::string line(event);
  line.append("Data").append(std::to_string(index)).append("=").append(digits);
  return finished({lines_after(definition, last, line)});
}

Edits move_step_down(const Definition& definition, std::string_view event, std::uint32_t index) {
  const Model model = model_of(definition);
  const NamedKeys* keys = keys_of(model, event);
  if (keys == nullptr) return {{}, kNoEvent};
  const std::vector<std::uint32_t> upper = entries_of(definition, *keys, index);
  const std::vector<std::uint32_t> lower = entries_of(definition, *keys, index + 1);
  if (upper.empty() || lower.empty()) return {{}, kNoStep};
  // Delays add up in the order of their lines, so the lines are exchanged, not only their indexes.
  std::vector<std::uint32_t> places = upper;
  places.insert(places.end(), lower.begin(), lower.end());
  std::sort(places.begin(), places.end());
  std::vector<Edit> edits;
  const std::vector<DefinitionEntry>& entries = definition.source.entries;
  for (std::size_t at = 0; at < places.size(); ++at) {
    const bool first = at < lower.size();
    const std::uint32_t moved = first ? lower[at] : upper[at - lower.size()];
    edits.push_back(replaced_line(definition, places[at],
                                  renumbered(entries[moved], first ? index : index + 1)));
  }
  return finished(std::move(edits));
}

Edits delete_step(const Definition& definition, std::string_view event, std::uint32_t index) {
  const Model model = model_of(definition);
  const NamedKeys* keys = keys_of(model, event);
  if (keys == nullptr) return {{}, kNoEvent};
  if (keys->steps.count(index) == 0) return {{}, kNoStep};
  std::vector<Edit> edits;
  for (const auto& [each, step] : keys->steps) {
    if (each < index) continue;
    for (const std::uint32_t entry : entries_of(definition, *keys, each)) {
      edits.push_back(each == index
                          ? removed_line(definition, entry)
                          : replaced_line(definition, entry,
                                          renumbered(definition.source.entries[entry], each - 1)));
    }
  }
  for (const std::uint32_t entry : keys->counts) {
    const std::int32_t count = to_int32(definition.source.entries[entry].value);
    if (count <= static_cast<std::int32_t>(index)) continue;
    edits.push_back(replaced_value(definition, entry, std::to_string(count - 1)));
  }
  return finished(std::move(edits));
}

Edits delete_event(const Definition& definition, std::string_view event) {
  const Model model = model_of(definition);
  const NamedKeys* keys = keys_of(model, event);
  if (keys == nullptr) return {{}, kNoEvent};
  std::vector<Edit> edits;
  for (const std::uint32_t entry : keys->entries) edits.push_back(removed_line(definition, entry));
  return finished(std::move(edits));
}

check::Findings check_edits(const Definition& definition, const Edits& edits,
                            const check::CheckOptions& options) {
  std::string text;
  std::size_t from = 0;
  std::vector<std::pair<std::ptrdiff_t, std::ptrdiff_t>> inserted;  // first and last lines
  for (const Edit& edit : edits.list) {
    text.append(definition.text, from, edit.offset - from);
    from = edit.offset + edit.length;
    if (edit.text.empty()) continue;
    const auto lines = [&] { return 1 + std::count(text.begin(), text.end(), '\n'); };
    const std::ptrdiff_t first = lines() + (edit.text.front() == '\n' ? 1 : 0);
    text += edit.text;
    inserted.emplace_back(first, lines() - (edit.text.back() == '\n' ? 1 : 0));
  }
  text.append(definition.text, from);
  std::set<std::string> before;
  for (check::Finding& finding : check::check_source(definition.source, options)) {
    before.insert(std::move(finding.text));
  }
  check::Findings findings;
  for (check::Finding& finding : check::check_source(check::read_source(text), options)) {
    const bool is_inserted = std::any_of(inserted.begin(), inserted.end(), [&](const auto& lines) {
      return lines.first <= finding.range.line && finding.range.line <= lines.second;
    });
    if (!is_inserted || finding.severity == check::Severity::kNote) continue;
    if (before.count(finding.text) == 0) findings.push_back(std::move(finding));
  }
  return findings;
}

}  // namespace kovo::tryout
