#include "frame/time_text.h"

#include <cstdio>

namespace kovo {

std::string date_text(const std::tm& time) {
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d ", time.tm_year + 1900, time.tm_mon + 1,
                time.tm_mday);
  return buffer;
}

std::string time_text(const std::tm& time) {
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d", time.tm_hour, time.tm_min, time.tm_sec);
  return buffer;
}

}  // namespace kovo
