// The events of a definition file, and which lines of the event log their steps leave.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "check/words.h"
#include "core/event_compiler.h"

namespace kovo::check {

/// What the line of a step looks like.
struct StepPattern {
  std::string head;                   // "address:port protocol "
  std::vector<std::string> literals;  // of the payload; any text may be between two of them
  std::vector<std::string> names;     // of the placeholders between them
  std::size_t address_size = 0;       // in `head`
  std::size_t port_size = 0;
  std::int64_t offset_ms = 0;
  bool is_defined = false;  // the file has lines for it
};

struct LogEvent {
  const CompiledEvent* compiled = nullptr;
  std::vector<StepPattern> steps;  // see steps_of
};

struct LogDefinitions {
  CompiledEvents compiled;
  std::deque<LogEvent> events;
  std::unordered_map<std::string_view, LogEvent*> by_trigger;  // that a push finds
  std::unordered_map<std::string_view, LogEvent*> by_name;     // that a test finds
  NameSuggester triggers;
  NameSuggester names;
};

/// Compiles the events of a file.
void make_log_definitions(const DefinitionEntries& entries, LogDefinitions& definitions);

/// Returns the lines that an event leaves when it is executed. Makes them at the first call: a file
/// may define far more steps than the logs show.
const std::vector<StepPattern>& steps_of(LogEvent& event);

/// Returns whether a step may have left the line "address:port protocol payload". Appends the names
/// of the placeholders without a value to `empty`, unless it is null.
bool fits_step(const StepPattern& pattern, std::string_view step,
               std::vector<std::string>* empty = nullptr);

}  // namespace kovo::check
