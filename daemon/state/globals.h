// Process-wide values. Words shared between threads are atomic; the object pointers and the paths
// are set before any worker thread starts and never change.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <string>

#include "core/text.h"
#include "daemon/system/mutex.h"

namespace kovo {

struct EventQueue;
struct CentralState;
struct VariableRegistry;

inline std::atomic<std::int32_t> debug{0};      // 1 with -d: diagnostics on stdout
inline std::atomic<std::int32_t> verbose{0};    // 1 once the options are parsed
inline std::atomic<std::int32_t> log_level{3};  // 0 with -q or --qa, 1 with --qr; nobody reads it
inline std::atomic<std::int32_t> uptime_s{0};   // of the system, in seconds; 0 before the loop runs
inline std::atomic<std::int32_t> hdmi_plug_enabled{0};  // 1 once the power-on period is over

inline EventQueue* event_queue = nullptr;
inline CentralState* central_state = nullptr;
inline VariableRegistry* variable_registry = nullptr;
inline std::time_t start_time = 0;  // wall clock when the supervision loop starts; main thread only

// The debug mirror. Its four values are read and replaced together, under the lock. The switch
// alone may be read without it, to save work.
inline Mutex debug_target_lock;
inline std::atomic<std::int32_t> debug_target_on{0};  // 0 off, 1 events, 2 also variable changes
inline std::string debug_target_ip GUARDED_BY(debug_target_lock);
inline std::int32_t debug_target_port GUARDED_BY(debug_target_lock) = 0;
inline std::int32_t debug_target_udp GUARDED_BY(debug_target_lock) = 0;  // 1 UDP, 0 TCP

inline char definition_path[kMaxPath + 1] = "/www/pelm/kovo.txt";
inline char test_definition_path[kMaxPath + 1] = "/www/pelm/tmp/kovotest.txt";
inline char event_log_path[kMaxPath + 1] = "/var/tmp/log/kovoevent.log";

}  // namespace kovo
