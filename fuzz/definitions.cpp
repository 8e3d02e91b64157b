// A definition file: its raw copy reads back as itself, its events have 1 to 128 steps, and each
// trigger and each test name finds its event. As a payload, its placeholders are replaced.
#include <algorithm>
#include <cassert>
#include <iterator>

#include "core/templates.h"
#include "daemon/state/central_state.h"
#include "daemon/state/definition_file.h"
#include "daemon/system/log.h"

using namespace kovo;
extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  static CentralState state;
  debug = 1;
  state.definition_entries = parse_definitions({data, size});
  state.test_definition_entries = state.definition_entries;
  std::string lines;
  for (std::string_view line : split_lines({data, size})) {
    for (; !line.empty(); line.remove_prefix(std::min(kMaxMessage, line.size()))) {
      const std::string_view piece = until_nul(truncated(line, kMaxMessage));
      if (piece.find('=') != std::string_view::npos) lines.append(piece).append("\n");
    }
  }
  const std::string raw = definitions_raw(state.definition_entries);
  assert(raw == lines && definitions_raw(parse_definitions(raw)) == raw);
  assert(definitions_ascii(state.definition_entries).size() <= raw.size());
  const TemplateValues values{{{"a", "{{b}}\\"}, {"b", "n"}}, "", "12:00", -5};
  assert(expand_templates(values, {data, size}).size() <= kMaxExpanded);
  rebuild_kovo_event_list(state, 0);
  rebuild_kovo_event_list(state, 1);
  const CompiledEvents list = compile_events(state.definition_entries);
  for (const CountLine& line : list.lines) assert(line.step_count >= 1 && line.step_count <= 128);
  for (const CompiledEvent& event : list.events) {
    assert(!event.name.empty() && std::distance(event.steps.begin(), event.steps.end()) <= 128);
    assert(lookup_event(state, event.name, 1).name == event.name);
    assert(lookup_event(state, event.name, 1).delay_s == 0);
    const EventDefinition found = lookup_event(state, event.trigger, 0);
    assert(found.trigger == event.trigger && !found.commands.empty());
  }
  return 0;
}
