// Messages between form feeds, those that begin with ">" as status lines: names and clients stay
// unique.
#include <cassert>
#include <cstring>
#include <set>

#include "daemon/state/central_state.h"
#include "daemon/state/event_queue.h"
#include "daemon/state/settings.h"
#include "daemon/state/variable_store.h"
#include "daemon/system/log.h"
#include "daemon/workers/change_worker.h"
#include "daemon/workers/receivers.h"
#include "daemon/workers/status_worker.h"

using namespace kovo;
static void take(CentralState& state, VariableRegistry& registry, std::string_view text) {
  if (text.substr(0, 1) == ">") return handle_status_line(state, registry, text.substr(1), now_s);
  accept_message(state, std::string(text));
  while (const auto one = state.lm_queue.pop()) handle_message(state, registry, *one);
}

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  static const auto queue = make_event_queue();
  const auto state = make_central_state();
  const auto registry = make_variable_registry();
  event_queue = queue.get();
  central_state = state.get();
  debug = 1;
  init_settings(*state);
  std::string texts(until_nul({data, size}));
  char* rest = texts.data();
  while (const char* one = strsep(&rest, "\f")) take(*state, *registry, one);
  std::set<std::string> names;
  std::set<std::tuple<Transport, std::string, int>> clients;
  const MutexLock held(registry->registry_lock);
  for (const auto& one : registry->variables) assert(names.insert(lower_ascii(one.name)).second);
  for (const auto& one : registry->clients) {
    assert(one.port > 0 && clients.emplace(one.proto, one.ip, one.port).second);
  }
  return 0;
}
