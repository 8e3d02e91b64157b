#include "daemon/state/status_vars.h"

#include "daemon/state/central_state.h"
#include "daemon/system/files.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/shell.h"

namespace kovo {
namespace {

constexpr char kStatusQuery[] =
    "printf 'getStatus\\r' | timeout 2 nc 127.0.0.1 50003 2>/dev/null | tr '\\r' '\\n'";

StatusVars query_status() {
  StatusVars vars;
  Pipe pipe;
  if (!open_pipe(pipe, kStatusQuery)) return vars;
  LineBuffer buffer;
  std::string_view line;
  std::size_t bytes = 0;
  while (vars.size() < kMaxStatusVars && read_line(pipe.output.get(), buffer, line)) {
    bytes += line.size();
    if (bytes > kMaxStatusBytes) break;
    parse_status_line(line, vars);
  }
  return vars;
}

}  // namespace

bool renew_macro_var(CentralState& state) {
  StatusVars answer = query_status();
  const bool complete = answer.size() >= kMinStatusVars;
  const MutexLock held(state.status_lock);
  if (complete) state.status_vars.swap(answer);
  LOG_DEBUG("renew_macro_var", "save /tmp/kovo_var.txt\n");
  std::string text;
  for (const auto& [name, value] : state.status_vars) {
    text.append(name).append("=").append(value).append("\n");
  }
  write_file("/tmp/kovo_var.txt", text);
  return complete;
}

TemplateValues template_values(const CentralState& state) {
  const std::tm now = local_time().fields;
  const MutexLock held(state.status_lock);
  return {state.status_vars, date_text(now), time_text(now), uptime_s};
}

}  // namespace kovo
