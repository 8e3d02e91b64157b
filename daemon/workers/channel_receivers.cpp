#include "daemon/workers/channel_receivers.h"

#include "core/network.h"
#include "core/text.h"
#include "daemon/state/central_state.h"
#include "daemon/state/settings.h"
#include "daemon/system/log.h"
#include "daemon/system/loopback_server.h"

namespace kovo {
namespace {

void on_datagram(void* state, std::string_view data) {
  const std::string text(until_nul(data));
  LOG_MAIN("handle_udp_lm_var", "recv(udp:%d) lm data(%d)%s\n", kVariablePort,
           static_cast<int>(data.size()), text.c_str());
  accept_message(*static_cast<CentralState*>(state), text);
}

void on_receive_error(int error) {
  LOG_MAIN("handle_udp_lm_var", "Error (%d):%s\n", error, error_text(error));
  LOG_MAIN("handle_udp_lm_var", "recvform call failed");
}

void on_connection(void* state, std::string_view data) {
  const std::string text(until_newline(until_nul(data)));
  LOG_MAIN("handle_tcp_lm_var", "recv(tcp:%d) (%d)%s\n", kVariablePort,
           static_cast<int>(data.size()), text.c_str());
  accept_message(*static_cast<CentralState*>(state), text);
}

void on_read_error(const char* text) {
  log_main("Error: [%s:%d] recv(tcp:2727): %s\n", "handle_tcp_lm_var", __LINE__, text);
}

constexpr UdpService kUdpService = {"handle_udp_lm_var", kVariablePort, on_datagram,
                                    on_receive_error};
constexpr TcpService kTcpService = {
    "handle_tcp_lm_var",    kVariablePort, kMaxCommand,   Announce::kBeforeBind,
    PortInUse::kEndsThread, on_connection, on_read_error,
};
static_assert(kTcpService.max_read <= kMaxTcpRead);

}  // namespace

void accept_message(CentralState& state, const std::string& text) {
  if (names_setting(text) && apply_setting_line(state, text) != kSettingChanged) return;
  state.lm_queue.push(std::string(truncated(text, kMaxMessage)));
}

void* handle_udp_lm_var(void* state) {
  serve_udp(kUdpService, state);
  return nullptr;
}

void* handle_tcp_lm_var(void* state) {
  serve_tcp(kTcpService, state);
  return nullptr;
}

}  // namespace kovo
