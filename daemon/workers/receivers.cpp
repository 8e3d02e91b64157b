// `lm` in a name means port 2727, `vep_api` port 2728. Received text ends at its first NUL. The
// receiver of port 2728 applies settings too, since its worker takes only four lines a second.
#include "daemon/workers/receivers.h"

#include "core/network.h"
#include "core/text.h"
#include "daemon/state/central_state.h"
#include "daemon/state/event_queue.h"
#include "daemon/state/settings.h"
#include "daemon/system/log.h"
#include "daemon/system/loopback_server.h"

namespace kovo {
namespace {

// tcp:2700

void on_command(void* queue, std::string_view data) {
  const std::string text(until_nul(data));
  // No newline in the format: the text usually ends with one.
  LOG_MAIN("handle_tcp_event", "recv(tcp:2700) [%d]%s", static_cast<int>(text.size()),
           text.c_str());
  static_cast<EventQueue*>(queue)->tcp_lines.push(text);
}

void on_command_error(const char* text) {
  log_main("Error: [%s:%d] Recv(tcp:2700): %s\n", "handle_tcp_event", __LINE__, text);
}

// udp:2727 and tcp:2727

void on_variable_datagram(void* state, std::string_view data) {
  const std::string text(until_nul(data));
  LOG_MAIN("handle_udp_lm_var", "recv(udp:%d) lm data(%d)%s\n", kVariablePort,
           static_cast<int>(data.size()), text.c_str());
  accept_message(*static_cast<CentralState*>(state), text);
}

void on_variable_datagram_error(int error) {
  LOG_MAIN("handle_udp_lm_var", "Error (%d):%s\n", error, error_text(error));
  LOG_MAIN("handle_udp_lm_var", "recvform call failed");
}

void on_variable_connection(void* state, std::string_view data) {
  const std::string text(until_newline(until_nul(data)));
  LOG_MAIN("handle_tcp_lm_var", "recv(tcp:%d) (%d)%s\n", kVariablePort,
           static_cast<int>(data.size()), text.c_str());
  accept_message(*static_cast<CentralState*>(state), text);
}

void on_variable_connection_error(const char* text) {
  log_main("Error: [%s:%d] recv(tcp:2727): %s\n", "handle_tcp_lm_var", __LINE__, text);
}

// udp:2728

void on_status_line(void* context, std::string_view data) {
  CentralState& state = *static_cast<CentralState*>(context);
  const std::string text(until_nul(data));
  LOG_MAIN("handle_udp_vep_api", "recv(udp:2728) (%d)%s\n", static_cast<int>(data.size()),
           text.c_str());
  log_event("get udp:2728 event %s\n", text.c_str());
  if (text.find_first_of("=:") != std::string::npos) apply_setting_line(state, text);
  state.api_queue.push(std::string(truncated(text, kMaxStatusLine)));
}

void on_status_line_error(int error) {
  LOG_MAIN("handle_udp_vep_api", "Error recvform(udp:2728) failed (%d):%s\n", error,
           error_text(error));
}

constexpr TcpService kTcpServices[] = {
    {"handle_tcp_event", kCommandPort, kMaxMessage, Announce::kAfterBind, PortInUse::kEndsProcess,
     on_command, on_command_error},
    {"handle_tcp_lm_var", kVariablePort, kMaxCommand, Announce::kBeforeBind, PortInUse::kEndsThread,
     on_variable_connection, on_variable_connection_error},
};

constexpr UdpService kUdpServices[] = {
    {"handle_udp_lm_var", kVariablePort, on_variable_datagram, on_variable_datagram_error},
    {"handle_udp_vep_api", kStatusPort, on_status_line, on_status_line_error},
};

}  // namespace

void* handle_tcp_event(void* queue) {
  serve_tcp(kTcpServices[0], queue);
  return nullptr;
}

void* handle_tcp_lm_var(void* state) {
  serve_tcp(kTcpServices[1], state);
  return nullptr;
}

void* handle_udp_lm_var(void* state) {
  serve_udp(kUdpServices[0], state);
  return nullptr;
}

void* handle_udp_vep_api(void* state) {
  serve_udp(kUdpServices[1], state);
  return nullptr;
}

void accept_message(CentralState& state, const std::string& text) {
  if (names_setting(text) && apply_setting_line(state, text) != kSettingChanged) return;
  state.lm_queue.push(std::string(truncated(text, kMaxMessage)));
}

}  // namespace kovo
