// The object that all threads share. main makes it before any worker starts; it is never destroyed.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "core/change_rules.h"
#include "core/definition_entry.h"
#include "core/event_compiler.h"
#include "core/setting_rules.h"
#include "core/templates.h"
#include "daemon/system/bounded_queue.h"
#include "daemon/system/mutex.h"

namespace kovo {

struct CentralState {
  mutable Mutex state_lock;     // the compiled lists and their files
  mutable Mutex status_lock;    // status_vars and their file
  mutable Mutex settings_lock;  // settings and the settings file
  mutable Mutex mapping_lock;   // changes

  StatusVars status_vars GUARDED_BY(status_lock);         // last answer of enough lines
  CompiledEvents event_list GUARDED_BY(state_lock);       // from definition_entries
  CompiledEvents test_event_list GUARDED_BY(state_lock);  // from test_definition_entries
  ChangeMemory changes GUARDED_BY(mapping_lock);
  DefinitionEntries definition_entries;       // main thread only
  DefinitionEntries test_definition_entries;  // queue worker only
  // Bounds of what one flood keeps the workers busy with; a get for an absent host takes 1.5 s.
  MessageQueue lm_queue{"lm_queue", 2500};    // for handle_lm_event
  MessageQueue api_queue{"api_queue", 1000};  // for handle_vep_api, which takes four a second
  Settings settings GUARDED_BY(settings_lock);
  bool settings_dirty GUARDED_BY(settings_lock) = false;  // a change is not in the file yet
  std::string ip_addr;     // the device's IPv4 address; main thread only
  std::string iface_name;  // the interface it belongs to; main thread only
  std::atomic<std::int32_t> events_enabled{0};

  std::atomic<std::int32_t> ready{0};  // 1 once all workers are started
  std::atomic<std::int32_t> power_on_done{0};
};

inline CentralState* central_state = nullptr;  // set before any worker starts

inline std::atomic<std::int32_t> uptime_s{0};  // of the system, in seconds; 0 before the loop runs
inline std::atomic<std::int32_t> hdmi_plug_enabled{0};  // 1 once the power-on period is over

/// Makes the central state: reads the device parameters by the parameter tool and builds the tables
/// of the product. Called once, by main.
std::unique_ptr<CentralState> make_central_state();

}  // namespace kovo
