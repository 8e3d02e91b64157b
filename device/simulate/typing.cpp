#include "device/simulate/typing.h"

#include <algorithm>

#include "definitions/settings.h"
#include "device/simulate/definitions.h"
#include "frame/text.h"
#include "variables/mapping_tables.h"

namespace kovo::device {
namespace {

constexpr std::string_view kChannels[] = {"tcp:2700", "udp:2727", "tcp:2727", "udp:2728"};

const EventDefinition* find_event(const EventList& events, std::string_view name,
                                  std::string EventDefinition::*member) {
  const auto found = std::find_if(events.begin(), events.end(),
                                  [&](const EventDefinition& one) { return one.*member == name; });
  return found == events.end() ? nullptr : &*found;
}

std::string complaint_about(const EventList& events, std::string_view name) {
  std::string text = "no event is raised by \"" + std::string(name) + "\"";
  if (const EventDefinition* event = find_event(events, name, &EventDefinition::name)) {
    return text + ", its own name: it is raised by \"" + event->trigger + "\"";
  }
  return text + "; known: " + known_names(events);
}

/// True for a status line that the daemon knows, whatever product it is.
bool is_status_line(std::string_view line) {
  if (starts_with_nocase(line, "local")) return true;
  const MappingTable rows = mapping_rows({1, 0});
  return std::any_of(rows.begin(), rows.end(), [&](const MappingRow& row) {
    return !row.setting.empty() && starts_with_nocase(line, row.setting);
  });
}

Typed check_test(const EventList& events, std::string_view line) {
  const std::string_view name = split_key_value(line.substr(line.find(':') + 1)).key;
  if (find_event(events, name, &EventDefinition::name) != nullptr) {
    return {"tcp:2700", std::string(line) + "\n", ""};
  }
  std::string names;
  for (const EventDefinition& event : events) names += (names.empty() ? "" : ", ") + event.name;
  return {"", "", "no event is named \"" + std::string(name) + "\"; known: " + names};
}

}  // namespace

Typed read_typed(const EventList& events, std::string_view line) {
  for (const std::string_view channel : kChannels) {
    if (line.size() <= channel.size() || line.substr(0, channel.size()) != channel) continue;
    if (line[channel.size()] != ' ') continue;
    return {std::string(channel), std::string(line.substr(channel.size() + 1)) + "\n", ""};
  }
  const std::string message = std::string(line) + "\n";
  const KeyValue pair = split_key_value(line);
  if (line.substr(0, 9) == "__TEST__:") return check_test(events, line);
  if (line.substr(0, 2) == "__") return {"tcp:2700", message, ""};
  const bool known = find_event(events, pair.key, &EventDefinition::trigger) != nullptr;
  if (known && !(pair.found && names_setting(line))) return {"tcp:2700", message, ""};
  if (pair.key.find("::") != std::string_view::npos) return {"udp:2727", message, ""};
  if (!pair.found && line.find(':') == std::string_view::npos) {
    return {"", "", complaint_about(events, line)};
  }
  return {"udp:2728", message, is_status_line(line) ? "" : complaint_about(events, pair.key)};
}

}  // namespace kovo::device
