#include "control/command_server.h"

#include <chrono>

#include "definitions/definition_file.h"
#include "definitions/event_list.h"
#include "engine/event_queue.h"
#include "frame/globals.h"
#include "frame/log.h"
#include "frame/loopback_server.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

constexpr char kEnableKey[] = "__SET__:network.kovo.enable";

std::int64_t now_us() {
  using std::chrono::microseconds;
  const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<microseconds>(since_epoch).count();
}

void take_command(void* queue, std::string_view data) {
  const std::string text(until_nul(data));
  // No line end of its own: the text usually brings one.
  log_main("[%s:%d] recv(tcp:2700) [%d]%s", "handle_tcp_event", __LINE__,
           static_cast<int>(text.size()), text.c_str());
  push_tcp_line(*static_cast<EventQueue*>(queue), {text, now_us()});
}

void log_read_error(const char* text) {
  log_main("Error: [%s:%d] Recv(tcp:2700): %s\n", "handle_tcp_event", __LINE__, text);
}

constexpr TcpService kService = {
    "handle_tcp_event",      kCommandPort, kMaxMessage,    Announce::kOnceBound,
    PortInUse::kEndsProcess, take_command, log_read_error,
};
static_assert(kService.max_read <= kMaxTcpRead);

void push_test_event(EventQueue& queue, CentralState& state, const std::string& name) {
  renew_kovo_txt(state, 1);
  rebuild_kovo_event_list(state, 1);
  log_main("[%s:%d] push TEST event %s", "handle_tcp_command", __LINE__, name.c_str());
  push_event_back(queue, state, name, 1);
}

}  // namespace

void* handle_tcp_event(void* queue) {
  serve_tcp(kService, queue);
  return nullptr;
}

int handle_tcp_command(EventQueue& queue, CentralState& state, std::string_view key,
                       std::string_view value) {
  key = strip_newline(key);
  const std::size_t colon = key.find(':');
  if (colon == std::string_view::npos || colon == 0) return 0;
  if (key.substr(0, colon) == "__TEST__") {
    push_test_event(queue, state, std::string(key.substr(colon + 1)));
  } else if (starts_with_nocase(key, kEnableKey)) {
    const bool on = starts_with_nocase(value, "1") || starts_with_nocase(value, "y");
    state.events_enabled = on ? 1 : 0;
  }
  return 0;
}

}  // namespace kovo
