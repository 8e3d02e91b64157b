// A definition file: its raw copy reads back as itself, its events have 1 to 128 steps, and each
// trigger and each test name finds its event.
#include "definitions/definition_file.h"
#include "definitions/event_list.h"
#include "frame/globals.h"
#include "fuzz/check.h"
#include "variables/central_state.h"

using namespace kovo;
static DefinitionEntries read(std::string_view text) {
  DefinitionEntries entries;
  for (const std::string_view line : split_lines(text)) parse_definition_line(entries, line);
  return entries;
}

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  static CentralState state;
  debug = 1;
  state.definition_entries = read({data, size});
  state.test_definition_entries = state.definition_entries;
  std::string lines;
  for (const std::string_view line : split_lines({data, size})) {
    if (line.find('=') != std::string_view::npos) lines.append(line).append("\n");
  }
  const std::string raw = definitions_raw(state.definition_entries);
  CHECK(raw == lines && definitions_raw(read(raw)) == raw);
  CHECK(definitions_ascii(state.definition_entries).size() <= raw.size());
  rebuild_kovo_event_list(state, 0);
  rebuild_kovo_event_list(state, 1);
  const CompiledEvents list = compile_events(state.definition_entries);
  for (const CountLine& line : list.lines) CHECK(line.step_count >= 1 && line.step_count <= 128);
  for (const CompiledEvent& event : list.events) {
    CHECK(!event.name.empty() && event.steps.size() <= 128);
    CHECK(lookup_event(state, event.name, 1).name == event.name);
    CHECK(lookup_event(state, event.name, 1).delay_s == 0);
    const EventDefinition found = lookup_event(state, event.trigger, 0);
    CHECK(found.trigger == event.trigger && !found.commands.empty());
  }
  return 0;
}
