#include "tryout/step_edits.h"

#include <algorithm>

#include "check/words.h"
#include "core/event_compiler.h"
#include "core/text.h"
#include "tryout/event_form.h"

namespace kovo::tryout {
namespace {

using check::Json;

/// Returns the positions of an event's entries.
std::vector<std::size_t> entries_of(const check::Source& source, std::string_view event) {
  std::vector<std::size_t> found;
  for (std::size_t at = 0; at < source.entries.size(); ++at) {
    if (source.entries[at].name == event && source.entries[at].parts > 0) found.push_back(at);
  }
  return found;
}

/// Applies a change to the form. Returns why that is not possible, "" when it is.
std::string change_form(Json& form, const Json& change) {
  const std::string what = change.value("do", "");
  const std::size_t at = change.value("at", std::size_t{0});
  Json& steps = form["steps"];
  if (what == "change_event" || what == "add_step") {
    if (change.contains("with")) form.update(change["with"]);
    if (what == "add_step") steps.push_back(change["step"]);
    return {};
  }
  if (at + (what == "move_step" ? 1 : 0) >= steps.size()) return "the event has no such step";
  if (what == "change_step") {
    steps[at].update(change["with"]);
  } else if (what == "move_step") {
    std::swap(steps[at], steps[at + 1]);
  } else if (what == "delete_step") {
    steps.erase(at);
  } else {
    return check::quoted(what) + " is not an edit";
  }
  return {};
}

/// Returns what is wrong with the form, "" when nothing is.
std::string problem_of(const Json& form) {
  const std::string name = form["name"];
  if (name.empty()) return "enter an event name";
  if (split_definition_key(name + "IP0", {}).name != name ||
      name.find_first_of("= \t") != std::string::npos) {
    return "an event name must not contain blanks, \"=\", Count, XMLfield, Protocol, Delay, IP, "
           "Port or Data";
  }
  if (form["steps"].empty()) return "an event has at least one step: delete the event";
  if (form["steps"].size() > kMaxSteps) {
    return "an event has at most " + std::to_string(kMaxSteps) + " steps";
  }
  return {};
}

/// Replaces the lines of an event by others, one by one; more of them follow its last line, or the
/// end of the file when it has none.
Edits replaced_lines(const Definition& definition, std::string_view event,
                     const std::string& replacement) {
  const std::string_view text = definition.text;
  const std::vector<std::string_view> lines = split_lines(replacement);
  Edits edits;
  const auto replace = [&](std::size_t from, std::size_t length, std::string by) {
    const std::string_view before = text.substr(0, from);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t column = from - before.rfind('\n');  // npos is -1
    edits.list.push_back({{static_cast<std::int32_t>(line), static_cast<std::int32_t>(column),
                           static_cast<std::int32_t>(length)},
                          std::move(by)});
  };
  std::size_t at = 0;
  std::size_t end = text.size();  // of the event's last line, with its newline
  for (const std::size_t entry : entries_of(definition.source, event)) {
    const std::string_view line =
        definition.source.lines[definition.source.entry_lines[entry]].text;
    const auto from = static_cast<std::size_t>(line.data() - text.data());
    end = std::min(text.find('\n', from), text.size() - 1) + 1;
    if (at >= lines.size()) replace(from, end - from, {});
    if (at < lines.size() && line != lines[at]) replace(from, line.size(), std::string(lines[at]));
    ++at;
  }
  std::string rest = end > 0 && text[end - 1] != '\n' ? "\n" : "";
  for (; at < lines.size(); ++at) rest.append(lines[at]).append("\n");
  if (rest.size() > 1) replace(end, 0, std::move(rest));
  return edits;
}

}  // namespace

Edits edit_event(const Definition& definition, const Json& change) {
  const std::string event = change.value("event", "");
  const std::string what = change.value("do", "");
  const bool is_new = entries_of(definition.source, event).empty();
  if (is_new && what != "add_step") return {{}, "no event has this name"};
  if (what == "delete_event") return replaced_lines(definition, event, "");
  Json form = read_form(definition.source, event);
  std::string problem = form["error"];
  if (problem.empty()) problem = change_form(form, change);
  if (problem.empty()) problem = problem_of(form);
  if (!problem.empty()) return {{}, std::move(problem)};
  const std::string name = form["name"];
  if (name != event && !entries_of(definition.source, name).empty()) {
    return {{}, "another event has this name"};
  }
  form["count"] = std::to_string(form["steps"].size());
  for (const char* const key : {"delay", "trigger"}) {
    const std::string value = form.value(key, "");
    if (value.empty() || value == name) form.erase(key);
  }
  return replaced_lines(definition, event, lines_of(form));
}

}  // namespace kovo::tryout
