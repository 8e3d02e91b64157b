#include "daemon/system/host.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <sys/time.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <cerrno>
#include <cstring>
#include <memory>

#include "core/text.h"
#include "daemon/system/log.h"
#include "daemon/system/mutex.h"

namespace kovo {

// This file uses the system's calls and not the C++ library's clocks: on 32-bit targets that
// library may have been built with times that end in 2038.
static_assert(sizeof(std::time_t) == 8 && sizeof(off_t) == 8, "64-bit time and file offsets");

void renew_network_info(std::string& ip_addr, std::string& iface_name) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) {
    LOG_MAIN("renew_network_info", "Cannot get ether net info\n");
    return;
  }
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    if (std::strcmp(entry->ifa_name, "lo") == 0) continue;
    sockaddr_in address{};
    std::memcpy(&address, entry->ifa_addr, sizeof address);
    char text[INET_ADDRSTRLEN];
    if (inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr) continue;
    iface_name = entry->ifa_name;
    ip_addr = text;
    LOG_DEBUG("renew_network_info", "%s:%s\n", entry->ifa_name, text);
  }
}

LocalTime local_time() {
  static Mutex zone_lock;  // tzset changes the time zone of the whole process
  timeval now{};
  gettimeofday(&now, nullptr);
  LocalTime result{};
  const MutexLock held(zone_lock);
  tzset();  // follows a change of the time zone
  localtime_r(&now.tv_sec, &result.fields);
  result.milliseconds = static_cast<int>(now.tv_usec / 1000);
  return result;
}

std::int64_t now_s() {
  return static_cast<std::int64_t>(std::time(nullptr));
}

void give_back_memory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

std::int64_t steady_ns() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void sleep_ns(std::int64_t nanoseconds) {
  if (nanoseconds < 1) return;
  timespec left{};
  left.tv_sec = static_cast<std::time_t>(nanoseconds / 1'000'000'000);
  left.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

void sleep_ms(std::int64_t milliseconds) {
  sleep_ns(milliseconds * 1'000'000);
}

}  // namespace kovo
