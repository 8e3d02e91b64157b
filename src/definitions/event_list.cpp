#include "definitions/event_list.h"

#include <algorithm>
#include <unordered_map>

#include "definitions/status_vars.h"
#include "definitions/templates.h"
#include "frame/files.h"
#include "frame/globals.h"
#include "frame/log.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;

using EventsByName = std::unordered_map<std::string, std::vector<EventDefinition*>>;

bool is_builtin(const std::string& name) {
  return name == "PowerOn" || name == "DVIConnected" || name == "DVIDisconnected";
}

void set_step_delay(EventDefinition& event, std::size_t step, const std::string& milliseconds) {
  SubCommand& command = event.commands[step];
  const std::int64_t before = step == 0 ? 0 : event.commands[step - 1].delay_from_exec_ns;
  command.delay_ns = to_int32(milliseconds) * kNanosecondsPerMillisecond;
  command.delay_from_exec_ns = command.delay_ns + before;
  if (debug != 0) {
    print_stdout("[%s:%d] ns delay from exec=(%d)%lld;\n", "rebuild_kovo_event_list", __LINE__,
                 static_cast<int>(step), static_cast<long long>(command.delay_from_exec_ns));
  }
}

void apply_step_entry(EventDefinition& event, const DefinitionEntry& entry) {
  std::uint32_t step = 0;
  if (to_uint32(entry.index, 10, step) != NumberReading::kOk) return;
  if (step >= event.commands.size()) return;
  SubCommand& command = event.commands[step];
  if (entry.field == "Protocol") command.protocol = entry.value;
  if (entry.field == "IP") command.ip = entry.value;
  if (entry.field == "Port") command.port = entry.value;
  if (entry.field == "Data") command.data = s_hex_to_ascii(entry.value);
  if (entry.field == "Delay") set_step_delay(event, step, entry.value);
}

void apply_event_entry(EventDefinition& event, const DefinitionEntry& entry) {
  if (entry.field == "XMLfield") event.trigger = entry.value;
  if (entry.field == "Delay") {
    event.delay_s = to_int32(entry.value);
    if (is_builtin(event.name)) event.trigger = event.name;
  }
}

EventList create_events(const DefinitionEntries& entries) {
  EventList events;
  for (const DefinitionEntry& entry : entries) {
    if (entry.parts != 1 || entry.field != "Count") continue;
    const int count = to_int32(entry.value);
    if (count <= 0) continue;
    EventDefinition event;
    event.name = entry.name;
    event.trigger = entry.name;
    event.commands.resize(static_cast<std::size_t>(std::min(count, kMaxSteps)));
    events.push_back(std::move(event));
  }
  return events;
}

bool find_event(CentralState& state, std::string_view name, int test, EventDefinition& found) {
  const MutexLock held(state.state_lock);
  const EventList& events = test == 0 ? state.event_list : state.test_event_list;
  for (const EventDefinition& event : events) {
    if ((test == 0 ? event.trigger : event.name) != name) continue;
    found = event;
    return true;
  }
  return false;
}

}  // namespace

EventList compile_events(const DefinitionEntries& entries) {
  EventList events = create_events(entries);
  EventsByName by_name;  // two "Count" lines of one name make two events, and both are filled in
  for (EventDefinition& event : events) by_name[event.name].push_back(&event);
  for (const DefinitionEntry& entry : entries) {
    const auto found = by_name.find(entry.name);
    if (found == by_name.end()) continue;
    for (EventDefinition* event : found->second) {
      if (entry.parts == 2) apply_step_entry(*event, entry);
      if (entry.parts == 1) apply_event_entry(*event, entry);
    }
  }
  return events;
}

std::string event_list_text(const EventList& events) {
  std::string text;
  for (const EventDefinition& event : events) {
    text += event.name + ";" + event.trigger + ";";
    int step = 0;
    for (const SubCommand& command : event.commands) {
      text += std::to_string(step++) + ":" + command.data + ":" +
              std::to_string(command.delay_ns / kNanosecondsPerMillisecond) + ";";
    }
    text += "Delay=" + std::to_string(event.delay_s) + ";\n";
  }
  return text;
}

int rebuild_kovo_event_list(CentralState& state, int test) {
  const MutexLock held(state.state_lock);
  if (test == 0) {
    state.event_list = compile_events(state.definition_entries);
    log_main("[%s:%d] rebuild kovo event txt: OK\n", "rebuild_kovo_event_list", __LINE__);
    write_event_list_file(state.event_list, "/tmp/kovo_event_list.txt");
  } else {
    state.test_event_list = compile_events(state.test_definition_entries);
    log_main("[%s:%d] rebuild test kovo event txt: OK\n", "rebuild_kovo_event_list", __LINE__);
    write_event_list_file(state.test_event_list, "/tmp/kovo_event_list_test.txt");
  }
  return 0;
}

int write_event_list_file(const EventList& events, const std::string& path) {
  return write_file(path.c_str(), event_list_text(events)) ? 0 : -1;
}

std::string s_hex_to_ascii(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 2 + 1);
  for (std::size_t at = 0; at < text.size(); at += 2) {
    bytes.push_back(static_cast<char>(to_int32(text.substr(at, 2), 16)));
  }
  if (debug != 0) {
    print_stdout("[%s:%d] %s to ret=%s\n", "s_hex_to_ascii", __LINE__, std::string(text).c_str(),
                 bytes.c_str());
  }
  return bytes;
}

EventDefinition lookup_event(CentralState& state, std::string_view name, int test) {
  renew_macro_var(state);
  EventDefinition event;
  if (!find_event(state, strip_newline(name), test, event)) return {};
  const TemplateValues values = template_values(state);
  for (SubCommand& command : event.commands) {
    command.data = expand_templates(values, command.data);
  }
  if (test != 0) event.delay_s = 0;
  return event;
}

}  // namespace kovo
