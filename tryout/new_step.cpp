#include "tryout/new_step.h"

#include <algorithm>

#include "check/model.h"
#include "check/words.h"
#include "definitions/event_compiler.h"
#include "frame/text.h"

namespace kovo::tryout {
namespace {

using check::kNoEntry;

/// The end of a line, where more lines may follow.
check::Place end_of(const check::SourceLine& line) {
  return {line.number, line.column + static_cast<std::int32_t>(line.text.size()), 0};
}

/// Lines behind the one at a position of the file; behind its end for kNoEntry.
Edit lines_behind(const check::Source& source, std::uint32_t line, std::string lines) {
  if (line != kNoEntry) return {end_of(source.lines[line]), "\n" + lines};
  const auto last = std::find_if(source.lines.rbegin(), source.lines.rend(),
                                 [](const check::SourceLine& each) { return !each.text.empty(); });
  if (last == source.lines.rend()) return {{1, 1, 0}, lines + "\n"};
  return {end_of(*last), "\n" + lines};
}

std::uint32_t free_index(const check::NamedKeys* keys) {
  if (keys == nullptr) return 0;
  const auto count = static_cast<std::uint32_t>(keys->step_count);
  return keys->steps.empty() ? count : std::max(count, keys->steps.rbegin()->first + 1);
}

std::string step_lines(const NewStep& step, std::uint32_t index) {
  const std::string number = std::to_string(index);
  const auto line = [&](const char* field, const std::string& value) {
    return step.event + field + number + "=" + value;
  };
  std::string lines = line("Protocol", step.protocol + (step.sends_status ? "Status" : ""));
  lines += "\n" + line("IP", step.address) + "\n" + line("Port", step.port);
  if (!step.sends_status) lines += "\n" + line("Data", check::as_hex(typed_bytes(step.payload)));
  return lines + "\n" + line("Delay", step.delay.empty() ? "0" : step.delay);
}

/// The value of the event's last Count, raised.
Edit raised_count(const check::Source& source, std::uint32_t entry, std::uint32_t count) {
  const DefinitionEntry& old = source.entries[entry];
  check::Place place = end_of(source.lines[source.entry_lines[entry]]);
  place.length = static_cast<std::int32_t>(old.value.size());
  place.column -= place.length;
  return {place, std::to_string(count)};
}

int hex_value(std::string_view digits) {
  const bool good = digits.size() == 2 &&
                    digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
  return good ? to_int32(digits, 16) : -1;
}

}  // namespace

std::string typed_bytes(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char next = at + 1 < text.size() ? text[at + 1] : '\0';
    const std::size_t known = std::string_view("rnt\\").find(next);
    const int value = next == 'x' ? hex_value(text.substr(at + 2, 2)) : -1;
    if (text[at] != '\\' || (known == std::string_view::npos && value < 0)) {
      bytes.push_back(text[at]);
    } else if (value >= 0) {
      bytes.push_back(static_cast<char>(value));
      at += 3;
    } else {
      bytes.push_back("\r\n\t\\"[known]);
      ++at;
    }
  }
  return bytes;
}

std::vector<Edit> add_step(const check::Source& source, const NewStep& step, std::string& error) {
  error.clear();
  if (step.event.empty()) error = "give the event a name";
  if (step.event.find_first_of("= \t\r\n") != std::string::npos) {
    error = "the name of an event holds neither blanks nor \"=\"";
  }
  const check::Model model = check::make_model(source.definitions);
  const auto found = model.by_name.find(step.event);
  const check::NamedKeys* keys =
      found == model.by_name.end() ? nullptr : &model.names[found->second];
  const std::uint32_t index = free_index(keys);
  if (index >= kMaxSteps) error = "an event has at most " + std::to_string(kMaxSteps) + " steps";
  if (!error.empty()) return {};

  std::vector<Edit> edits;
  std::string lines;
  if (keys == nullptr || keys->counts.empty()) {
    lines = step.event + "Count=" + std::to_string(index + 1) + "\n";
    if (!step.trigger.empty() && step.trigger != step.event) {
      lines += step.event + "XMLfield=" + step.trigger + "\n";
    }
  } else {
    edits.push_back(raised_count(source, keys->counts.back(), index + 1));
  }
  const std::uint32_t line = keys == nullptr ? kNoEntry : source.entry_lines[keys->entries.back()];
  edits.push_back(lines_behind(source, line, lines + step_lines(step, index)));
  return edits;
}

}  // namespace kovo::tryout
