// The events of a definition file as the event log shows them: which lines their steps leave.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "check/source.h"
#include "check/words.h"
#include "definitions/event_compiler.h"
#include "engine/event_rules.h"

namespace kovo::check {

struct StepPattern {
  std::string head;                   // "address:port protocol "
  std::vector<std::string> literals;  // of the payload, with anything between two of them
  std::string address;
  std::string port;
  std::string protocol;
  std::optional<Sender> sender;
  std::int64_t offset_ms = 0;
};

struct LogEvent {
  std::string name;
  std::string trigger;
  std::int32_t delay_s = 0;
  std::size_t step_count = 0;
  const CompiledEvent* compiled = nullptr;
  std::vector<StepPattern> steps;  // made when they are first needed
};

struct LogDefinitions {
  CompiledEvents compiled;
  std::deque<LogEvent> events;
  std::unordered_map<const CompiledEvent*, LogEvent*> by_event;
  std::unordered_multimap<std::string, LogEvent*> by_head;  // of the first step
  NameSuggester triggers;
  bool has_newlines = false;  // in the payloads of any step
};

/// Compiles the events of a file. `entries` must outlive the result.
void make_log_definitions(const DefinitionEntries& entries, LogDefinitions& definitions);

/// Returns the event that a push finds, null when there is none.
LogEvent* pushed_event(LogDefinitions& definitions, std::string_view name, bool test);

/// Returns the lines that an event leaves when it is executed.
const std::vector<StepPattern>& steps_of(LogEvent& event);

/// Returns whether the payload of a step holds a newline, whatever its placeholders stand for.
bool has_newline(const StepPattern& pattern);

/// Returns whether a step may have left "address:port protocol payload".
bool fits_step(const StepPattern& pattern, std::string_view step);

}  // namespace kovo::check
