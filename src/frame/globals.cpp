#include "frame/globals.h"

namespace kovo {

std::atomic<std::int32_t> debug{0};
std::atomic<std::int32_t> verbose{0};
std::atomic<std::int32_t> log_level{3};
std::atomic<std::int32_t> uptime_s{0};
std::atomic<std::int32_t> hdmi_plug_enabled{0};

EventQueue* event_queue = nullptr;
CentralState* central_state = nullptr;
VariableRegistry* variable_registry = nullptr;
std::time_t start_time = 0;

Mutex debug_target_lock;
std::atomic<std::int32_t> debug_target_on{0};
std::string debug_target_ip;
std::int32_t debug_target_port = 0;
std::int32_t debug_target_udp = 0;

char definition_path[kMaxPath + 1] = "/www/pelm/kovo.txt";
char test_definition_path[kMaxPath + 1] = "/www/pelm/tmp/kovotest.txt";
char event_log_path[kMaxPath + 1] = "/var/tmp/log/kovoevent.log";

}  // namespace kovo
