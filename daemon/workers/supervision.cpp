// The loop polls modification times, since the files may be missing, links, or replaced by a
// rename. An older time is a change too: files are also restored. Contents are not compared.
// Invariant: the remembered time is taken before a file is read, so that a write during the reading
// is a new change.
#include "daemon/workers/supervision.h"

#include <sys/stat.h>
#include <sys/sysinfo.h>

#include "core/event_rules.h"
#include "daemon/state/central_state.h"
#include "daemon/state/definition_file.h"
#include "daemon/state/variable_store.h"
#include "daemon/system/files.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"
#include "daemon/system/worker.h"

namespace kovo {
namespace {

constexpr char kSyncMarkerPath[] = "/var/tmp/plinth_sync_ok";
constexpr int kPassMs = 250;
constexpr int kSyncPauseMs = 200;
constexpr int kSecondMs = 1000;
constexpr int kFreshFileS = 2;

void enable_plug_after_power_on() {
  if (uptime_s > kPowerOnPeriodS) hdmi_plug_enabled = 1;
}

void refresh_uptime(Supervision& memory) {
  const std::int64_t now = now_s();
  if (now == memory.last_second) return;
  struct sysinfo info {};
  const std::int64_t running_s =
      sysinfo(&info) == 0 ? static_cast<std::int64_t>(info.uptime) : now - memory.start_time;
  uptime_s = static_cast<std::int32_t>(running_s);
  enable_plug_after_power_on();
  memory.last_second = now;
}

/// Logs the uptime of the power-on period, only if a new second has begun since refresh_uptime.
/// That is a matter of chance: most passes log nothing.
void report_power_on_period(Supervision& memory) {
  const std::int64_t now = now_s();
  if (hdmi_plug_enabled != 0 || now == memory.last_second) return;
  enable_plug_after_power_on();
  LOG_MAIN("main", "t_uptime=%ld, enable hdmi plug=%d\n", static_cast<long>(uptime_s),
           hdmi_plug_enabled.load());
  memory.last_second = now;
}

FileTime file_time(const char* path) {
  struct stat info {};
  if (stat(path, &info) != 0) return {};
  return {{info.st_mtim.tv_sec, info.st_mtim.tv_nsec}};
}

/// Returns whether a file is seen and its time is not the remembered one.
bool time_changed(const FileTime& now, const FileTime& remembered) {
  return now && now != remembered;
}

/// Returns whether a file may change once more without its time changing.
bool is_fresh(const FileTime& time) {
  return time && time->second == 0 && time->first <= now_s() && now_s() - time->first < kFreshFileS;
}

void watch_definition_file(CentralState& state, Supervision& memory) {
  const FileTime now = file_time(kDefinitionPath);
  const bool first = !memory.definition_time;
  if (first || time_changed(now, memory.definition_time)) {
    // A file that is missing at the first pass is a changed file when it appears.
    memory.definition_time = now.value_or(std::pair{0, 0L});
    if (!first) load_definitions(state, memory, ReadReason::kEdit);
  }
  if (memory.fresh_definition_time && !is_fresh(memory.fresh_definition_time)) {
    memory.fresh_definition_time.reset();
    if (now)
      load_definitions(state, memory, ReadReason::kStart);  // a file that is gone changes nothing
  }
}

void watch_sync_marker(Supervision& memory) {
  const FileTime now = file_time(kSyncMarkerPath);
  if (!now) create_file(kSyncMarkerPath, "");
  if (now && !time_changed(now, memory.sync_time)) return;
  sleep_ms(kSyncPauseMs);
  if (now) memory.sync_time = now;
}

void watch_snapshot(CentralState& state, Supervision& memory) {
  const FileTime now = file_time(kSnapshotPath);
  if (time_changed(now, memory.snapshot_time)) {
    if (!memory.snapshot_time) {  // loaded twice: it may still be being written
      lm_load_snapshot(*variable_registry, state);
      sleep_ms(kSecondMs);
      lm_load_snapshot(*variable_registry, state);
    }
    memory.snapshot_time = now;
    return;
  }
  const std::int64_t age_s = now ? now_s() - now->first : 0;
  if (age_s > 0 && age_s <= kFreshFileS) sleep_ms(kSecondMs);  // it may still be being written
}

}  // namespace

void load_definitions(CentralState& state, Supervision& memory, ReadReason reason) {
  const FileTime time = file_time(kDefinitionPath);
  memory.fresh_definition_time = is_fresh(time) ? time : FileTime();
  run_pass("main", [&] {
    renew_kovo_txt(state, false, reason);
    rebuild_kovo_event_list(state, false);
  });
}

void supervise_once(CentralState& state, Supervision& memory) {
  refresh_uptime(memory);
  report_power_on_period(memory);
  sleep_ms(kPassMs);
  watch_definition_file(state, memory);
  watch_sync_marker(memory);
  watch_snapshot(state, memory);
}

}  // namespace kovo
