// The events of a definition file, and which lines of the event log their steps leave.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "check/source.h"
#include "check/words.h"
#include "core/event_compiler.h"

namespace kovo::check {

/// What the line of a step looks like.
struct StepPattern {
  std::string head;                   // "address:port protocol "
  std::vector<std::string> literals;  // of the payload; any text may be between two of them
  std::string address;
  std::string port;
  std::string protocol;
  std::int64_t offset_ms = 0;
};

struct LogEvent {
  const CompiledEvent* compiled = nullptr;
  std::vector<StepPattern> steps;  // see steps_of
};

inline std::size_t step_count(const LogEvent& event) {
  return static_cast<std::size_t>(event.compiled->step_count);
}

struct LogDefinitions {
  CompiledEvents compiled;
  std::deque<LogEvent> events;
  std::unordered_multimap<std::string, LogEvent*> by_head;  // by the head of the first step
  NameSuggester triggers;
  bool has_newlines = false;  // some step has_newline
};

/// Compiles the events of a file.
void make_log_definitions(const DefinitionEntries& entries, LogDefinitions& definitions);

/// Returns the event that a push finds, null when there is none.
LogEvent* pushed_event(LogDefinitions& definitions, std::string_view name, bool test);

/// Returns the lines that an event leaves when it is executed. Makes them at the first call: a file
/// may define far more steps than the logs show.
const std::vector<StepPattern>& steps_of(LogEvent& event);

/// Returns whether the payload of a step holds a newline outside of its placeholders.
bool has_newline(const StepPattern& pattern);

/// Returns whether a step may have left the line "address:port protocol payload".
bool fits_step(const StepPattern& pattern, std::string_view step);

}  // namespace kovo::check
