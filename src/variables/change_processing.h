// What follows from a variable's new value: the store and its clients, derived variables, and the
// event that the variable is mapped to.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/host.h"

namespace kovo {

struct CentralState;
struct VariableRegistry;

constexpr std::int64_t kQuietPeriodS = 4;  // between messages of a row, for its event
constexpr std::int64_t kEventPauseS = 2;   // between two of the same dedicated event

/// The value that a raw text stands for: escape sequences first, then percent codes, cut.
std::string decode_value(std::string_view raw);

struct TimingWord {
  bool enable;     // bit 31
  bool yuv_given;  // bit 29
  bool yuv_auto;   // bit 23
};

/// Decodes the hexadecimal word of V_OUTPUT_TIMING_CONVERT.
TimingWord decode_timing(std::string_view value);

/// The colour-output mode of a timing word: "OFF", "ON" or "AUTO".
const char* yuv_of(const TimingWord& word);

/// Handles one variable change: decodes its raw value, stores it, tells every client and follows it
/// up. Called by handle_lm_event alone; takes the locks of lm_set, then those of follow_change.
void process_variable_change(CentralState& state, VariableRegistry& registry, std::string_view name,
                             std::string_view raw);

/// What a stored value leads to: derived variables and events. The clock is read at each step that
/// needs the time, since sets and pushes take their while. Takes mapping_lock for one step at a
/// time, the locks of lm_set for derived variables, and EventQueue.lock for each push.
void follow_change(CentralState& state, VariableRegistry& registry, const std::string& name,
                   const std::string& value, SecondsClock clock);

}  // namespace kovo
