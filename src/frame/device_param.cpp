#include "frame/device_param.h"

#include "frame/files.h"

namespace kovo {

std::string query_device_param(const std::string& name) {
  const Pipe pipe = open_pipe(("ipc @lm_query q q_param_get::" + name).c_str());
  if (pipe == nullptr) return {};
  LineBuffer buffer;
  std::string_view line;
  if (!read_line(pipe.get(), buffer, line, kMaxPath)) return {};
  return std::string(until_newline(line));
}

}  // namespace kovo
