#include "daemon/workers/command_server.h"

#include "core/network.h"
#include "daemon/state/event_queue.h"
#include "daemon/system/log.h"
#include "daemon/system/loopback_server.h"

namespace kovo {
namespace {

void on_message(void* queue, std::string_view data) {
  const std::string text(until_nul(data));
  // No newline in the format: the text usually ends with one.
  LOG_MAIN("handle_tcp_event", "recv(tcp:2700) [%d]%s", static_cast<int>(text.size()),
           text.c_str());
  push_tcp_line(*static_cast<EventQueue*>(queue), text);
}

void on_read_error(const char* text) {
  log_main("Error: [%s:%d] Recv(tcp:2700): %s\n", "handle_tcp_event", __LINE__, text);
}

constexpr TcpService kService = {
    "handle_tcp_event",      kCommandPort, kMaxMessage,   Announce::kAfterBind,
    PortInUse::kEndsProcess, on_message,   on_read_error,
};

}  // namespace

void* handle_tcp_event(void* queue) {
  serve_tcp(kService, queue);
  return nullptr;
}

}  // namespace kovo
