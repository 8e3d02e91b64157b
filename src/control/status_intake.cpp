// A status line raises no event itself, except for the playback selection and the settings, which
// have no variable: it restarts the hold-off time of its rows, and their names go to lm_queue,
// where a text without a colon is ignored. The receiver applies settings, since the worker takes
// only four lines a second. Invariant: mapping_lock is never held for a set or a push.
#include "control/status_intake.h"

#include <optional>
#include <vector>

#include "definitions/settings.h"
#include "engine/push_event.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/loopback_server.h"
#include "frame/text.h"
#include "frame/worker.h"
#include "variables/central_state.h"
#include "variables/change_values.h"
#include "variables/mapping_tables.h"
#include "variables/triggers.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

constexpr char kRoutine[] = "handle_vep_api";
constexpr int kLinePeriodMs = 250;

void on_datagram(void* context, std::string_view data) {
  CentralState& state = *static_cast<CentralState*>(context);
  const std::string text(until_nul(data));
  LOG_MAIN("handle_udp_vep_api", "recv(udp:2728) (%d)%s\n", static_cast<int>(data.size()),
           text.c_str());
  log_event("get udp:2728 event %s\n", text.c_str());
  if (text.find_first_of("=:") != std::string::npos) apply_setting_line(state, text);
  state.api_queue.push(std::string(cut_text(text, kMaxStatusLine)));
}

void on_receive_error(int error) {
  LOG_MAIN("handle_udp_vep_api", "Error recvform(udp:2728) failed (%d):%s\n", error,
           error_text(error));
}

constexpr UdpService kService = {"handle_udp_vep_api", kStatusPort, on_datagram, on_receive_error};

/// A row for which a line counts.
struct CountingRow {
  std::string event;
  std::int64_t since_last;  // seconds since it last counted
};

/// Returns the rows whose setting word is a prefix of the name, and restarts their hold-off time.
std::vector<CountingRow> count_rows(CentralState& state, std::string_view name, std::int64_t now) {
  std::vector<CountingRow> rows;
  const MutexLock held(state.mapping_lock);
  for (MappingRow& row : state.mapping_table) {
    if (row.setting.empty() || !starts_with_nocase(name, row.setting)) continue;
    std::string event = row.status;
    if (event.back() == '#') event.pop_back();
    rows.push_back({std::move(event), now - row.last_time});
    row.last_time = now;
  }
  return rows;
}

void handle_counting_row(CentralState& state, const CountingRow& row) {
  const char* event = row.event.c_str();
  const int since_last = static_cast<int>(row.since_last);
  LOG_DEBUG(kRoutine, "get event name %s\n", event);
  if (pause_lasts(row.since_last, kRepeatS)) {
    LOG_MAIN(kRoutine, "skip event %s, now-last=%d sec\n", event, since_last);
    log_event("skip event %s, now-last=%d sec\n", event, since_last);
    return;
  }
  LOG_MAIN(kRoutine, "get vep_api event %s\n", event);
  // The value of the status line is not passed on: the setting refuses the empty one.
  if (names_setting(row.event) && apply_setting_line(state, row.event + "=") != kSettingChanged) {
    return;
  }
  state.lm_queue.push(row.event);
}

void handle_playback(CentralState& state, const std::string& name, std::int64_t now) {
  std::string old;
  MappingRow* row = nullptr;
  {
    const MutexLock held(state.mapping_lock);
    row = find_row(state.mapping_table, &MappingRow::setting, "local:x");
    if (equals_nocase(name, row->last_value)) return;
    old = row->last_value;
  }
  for (const char* event : playback_triggers(old, name)) {
    // Only the record of localPlay has no newline.
    const bool ends_line = std::string_view(event) != "localPlay";
    LOG_MAIN(kRoutine, "push event %s%s", event, ends_line ? "\n" : "");
    push_event(event);
  }
  const MutexLock held(state.mapping_lock);
  row->last_value = name;
  row->last_time = now;
}

}  // namespace

void* handle_udp_vep_api(void* state) {
  serve_udp(kService, state);
  return nullptr;
}

void* handle_vep_api(void* argument) {
  CentralState& state = *static_cast<CentralState*>(argument);
  while (true) {
    sleep_ms(kLinePeriodMs);
    catch_and_log(kRoutine, [&] {
      const std::optional<std::string> line = state.api_queue.pop();
      if (line) handle_status_line(state, *variable_registry, *line, now_s);
    });
  }
}

void handle_status_line(CentralState& state, VariableRegistry& registry, std::string_view text,
                        SecondsClock clock) {
  if (text.empty()) return;
  const std::string line(strip_newline(cut_text(text, kMaxStatusLine)));
  LOG_MAIN(kRoutine, "Recv(udp:%d) (%d)%s\n", kStatusPort, static_cast<int>(line.size()),
           line.c_str());
  const KeyValue pair = split_key_value(line);
  const std::string name(pair.key);
  if (starts_with_nocase(name, "local")) {
    handle_playback(state, name, clock());
    return;
  }
  const bool hdcp = equals_nocase(name, "CUR_HDCP") || equals_nocase(name, "HDMI2_CUR_HDCP");
  if (hdcp && !lm_set_change(registry, name, pair.value)) {
    LOG_MAIN(kRoutine, "skip same event %s\n", name.c_str());
    return;
  }
  const std::vector<CountingRow> rows = count_rows(state, name, clock());
  for (const CountingRow& row : rows) handle_counting_row(state, row);
  if (rows.empty()) LOG_MAIN(kRoutine, "no mapping event %s\n", name.c_str());
}

}  // namespace kovo
