#include "frame/device_param.h"

#include "frame/files.h"
#include "frame/shell.h"

namespace kovo {

std::string query_device_param(const std::string& name) {
  Pipe pipe;
  if (!open_pipe(pipe, ("ipc @lm_query q q_param_get::" + name).c_str())) return {};
  LineBuffer buffer;
  std::string_view line;
  if (!read_line(pipe.output.get(), buffer, line, kMaxPath)) return {};
  return std::string(until_newline(line));
}

}  // namespace kovo
