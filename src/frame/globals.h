// Process-wide values. Words shared between threads are atomic; the object pointers and the paths
// are set before any worker thread starts and never change.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <string>

#include "frame/mutex.h"
#include "frame/text.h"

namespace kovo {

struct EventQueue;
struct CentralState;
struct VariableRegistry;

extern std::atomic<std::int32_t> debug;      // 1 with -d: diagnostics on stdout
extern std::atomic<std::int32_t> verbose;    // 1 once the options are parsed
extern std::atomic<std::int32_t> log_level;  // 3; 0 with -q or --qa, 1 with --qr
extern std::atomic<std::int32_t> uptime_s;   // of the system, in seconds; 0 before the loop runs
extern std::atomic<std::int32_t> hdmi_plug_enabled;  // 1 once the power-on period has passed

extern EventQueue* event_queue;
extern CentralState* central_state;
extern VariableRegistry* variable_registry;
extern std::time_t start_time;  // wall clock at the start of the supervision loop; main thread only

// The debug mirror: switch, address, port and transport are read and replaced together under the
// lock. The switch may be read without it where that only saves work.
extern Mutex debug_target_lock;
extern std::atomic<std::int32_t> debug_target_on;  // 0 off, 1 events, 2 also variable changes
extern std::string debug_target_ip GUARDED_BY(debug_target_lock);
extern std::int32_t debug_target_port GUARDED_BY(debug_target_lock);
extern std::int32_t debug_target_udp GUARDED_BY(debug_target_lock);  // 1 UDP, 0 TCP

extern char definition_path[kMaxPath + 1];
extern char test_definition_path[kMaxPath + 1];
extern char event_log_path[kMaxPath + 1];

}  // namespace kovo
