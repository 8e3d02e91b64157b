#include "device/simulate/definitions.h"

#include "definitions/event_compiler.h"
#include "device/device.h"
#include "engine/choose_sender.h"

namespace kovo::device {
namespace {

constexpr char kDefinitions[] = "/www/pelm/kovo.txt";
constexpr char kTestDefinitions[] = "/www/pelm/tmp/kovotest.txt";

EventList read_events() {
  EventList events;
  const CompiledEvents list = compile_events(parse_definitions(read_file(kDefinitions)));
  for (const CompiledEvent& event : list.events) {
    events.push_back(whole_event(event, event.step_count));
  }
  return events;
}

}  // namespace

bool take_definitions(Definitions& definitions) {
  std::error_code error;  // an editor may have moved the file away for a moment
  const auto changed = std::filesystem::last_write_time(definitions.path, error);
  if (error || changed == definitions.changed) return false;
  definitions.changed = changed;
  const std::string bytes = read_file(definitions.path);
  write_file(kDefinitions, bytes);
  write_file(kTestDefinitions, bytes);
  definitions.events = read_events();
  return true;
}

std::string known_names(const EventList& events) {
  std::string names;
  for (const EventDefinition& event : events) {
    names += (names.empty() ? "" : ", ") + event.trigger;
  }
  return names.empty() ? "none" : names;
}

std::string steps_of(const EventDefinition& event) {
  std::string text;
  for (const SubCommand& step : event.commands) {
    if (!text.empty()) text += ", ";
    if (choose_sender(step.protocol) == SendKind::kNone) {
      text += "nothing (protocol \"" + step.protocol + "\")";
      continue;
    }
    text += step.protocol + " " + step.ip + ":" + step.port;
    const std::int64_t offset_ms = step.delay_from_exec_ns / 1'000'000;
    if (offset_ms != 0) text += " +" + std::to_string(offset_ms) + " ms";
  }
  return text;
}

}  // namespace kovo::device
