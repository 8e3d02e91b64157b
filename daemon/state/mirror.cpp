#include "daemon/state/mirror.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "core/text.h"
#include "daemon/system/mutex.h"
#include "daemon/system/senders.h"

namespace kovo {
namespace {

// Read and replaced together, under the lock. The level alone may be read without it.
Mutex debug_target_lock;
std::atomic<std::int32_t> debug_target_on{0};
std::string debug_target_ip GUARDED_BY(debug_target_lock);
std::int32_t debug_target_port GUARDED_BY(debug_target_lock) = 0;
Transport debug_target_transport GUARDED_BY(debug_target_lock) = Transport::kTcp;

}  // namespace

bool mirrors(std::int32_t level) {
  return debug_target_on >= level;
}

void set_mirror(std::int32_t level, Transport transport, const std::string& ip, int port) {
  const MutexLock held(debug_target_lock);
  debug_target_ip = ip;
  debug_target_transport = transport;
  debug_target_port = port;
  debug_target_on = port > 0 && !ip.empty() ? level : 0;
}

bool send_debug_line(std::int32_t level, const char* format, ...) {
  Transport transport = Transport::kTcp;
  std::string ip;
  int port = 0;
  {
    const MutexLock held(debug_target_lock);
    if (debug_target_on < level) return true;
    transport = debug_target_transport;
    ip = debug_target_ip;
    port = debug_target_port;
  }
  char buffer[kMaxCommand + 1];
  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  return length < 1 || send_by(transport, ip, port, strip_newline(buffer));
}

}  // namespace kovo
