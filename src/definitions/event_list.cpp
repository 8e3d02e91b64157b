#include "definitions/event_list.h"

#include <utility>

#include "definitions/status_vars.h"
#include "definitions/templates.h"
#include "frame/files.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

constexpr std::size_t kPieceSize =
    std::size_t{64} * 1024;  // of the list file, which may be far larger

void print_decoded(std::string_view text, const std::string& bytes) {
  LOG_DEBUG("s_hex_to_ascii", "%s to ret=%s\n", std::string(text).c_str(), bytes.c_str());
}

void print_offset(std::int32_t step, std::int64_t delay_from_exec_ns) {
  LOG_DEBUG("rebuild_kovo_event_list", "ns delay from exec=(%d)%lld;\n", step,
            static_cast<long long>(delay_from_exec_ns));
}

constexpr DefinitionTrace kDebugTrace = {print_decoded, print_offset};

EventDefinition copy_event(CentralState& state, std::string_view name, int test) {
  const MutexLock held(state.state_lock);
  const CompiledEvents& list = test == 0 ? state.event_list : state.test_event_list;
  const CompiledEvent* found = find_event(list, name, test);
  return found == nullptr ? EventDefinition() : whole_event(*found, found->step_count);
}

void rebuild_list(CentralState& state, int test) {
  CompiledEvents old;  // freed when the lock is
  const MutexLock held(state.state_lock);
  if (test == 0) {
    old = std::exchange(state.event_list, compile_events(state.definition_entries, debug_trace()));
    LOG_MAIN("rebuild_kovo_event_list", "rebuild kovo event txt: OK\n");
    write_event_list_file(state.event_list, "/tmp/kovo_event_list.txt");
  } else {
    old = std::exchange(state.test_event_list,
                        compile_events(state.test_definition_entries, debug_trace()));
    LOG_MAIN("rebuild_kovo_event_list", "rebuild test kovo event txt: OK\n");
    write_event_list_file(state.test_event_list, "/tmp/kovo_event_list_test.txt");
  }
}

}  // namespace

const DefinitionTrace* debug_trace() {
  return debug != 0 ? &kDebugTrace : nullptr;
}

int rebuild_kovo_event_list(CentralState& state, int test) {
  rebuild_list(state, test);
  give_back_memory();
  return 0;
}

int write_event_list_file(const CompiledEvents& list, const std::string& path) {
  if (!write_file(path, "")) return -1;
  std::string piece;
  for (const CountLine& line : list.lines) {
    piece += event_line(list.events[line.event], line.step_count);
    if (piece.size() < kPieceSize) continue;
    if (!append_file(path, piece)) return -1;
    piece.clear();
  }
  return append_file(path, piece) ? 0 : -1;
}

EventDefinition lookup_event(CentralState& state, std::string_view name, int test) {
  renew_macro_var(state);
  EventDefinition event = copy_event(state, strip_newline(name), test);
  if (event.name.empty()) return event;
  const TemplateValues values = template_values(state);
  for (SubCommand& command : event.commands) {
    command.data = expand_templates(values, command.data);
  }
  if (test != 0) event.delay_s = 0;
  return event;
}

}  // namespace kovo
