// Compiles definition entries to executable events and their send steps. No input or output.
#pragma once

#include <cstdint>
#include <deque>
#include <forward_list>
#include <string>
#include <string_view>
#include <vector>

#include "core/definition_entry.h"

namespace kovo {

constexpr int kMaxSteps = 128;  // send steps of one event; larger counts are reduced to this

struct SubCommand {
  std::string ip;
  std::string port;
  std::string protocol;                 // the sender is chosen by the words in it
  std::string data;                     // payload, any byte
  std::int64_t delay_from_exec_ns = 0;  // offset from the start of the event's execution
};

struct EventDefinition {
  std::string name;     // common prefix of its definition keys; empty when a lookup found nothing
  std::string trigger;  // the name by which a normal push finds it
  std::int64_t queued_at = 0;  // nanoseconds since the queue's created_at; 0 outside the queue
  std::int64_t due_at = 0;     // likewise
  std::vector<SubCommand> commands;  // all of its steps
  std::int32_t status = 0;           // 0 waiting, 1 executed
  std::int32_t delay_s = 0;          // seconds between queuing and execution
  bool is_test = false;
};

/// A step as the file defines it; its texts are C strings in the definitions.
struct CompiledStep {
  std::int32_t index = 0;
  std::int32_t delay_ms = 0;   // its own delay
  std::int64_t offset_ms = 0;  // from the start of the event's execution
  const char* ip = "";
  const char* port = "";
  const char* protocol = "";
  const char* data = "";  // hexadecimal
};

/// All events of one name: "DoorCount=1" and later "DoorCount=3" make two events, which share all
/// other keys. A push finds only the first. Holds only steps for which the file has keys, so that
/// its size is bounded by the file's.
struct CompiledEvent {
  std::string_view name;
  std::string_view trigger;
  std::int32_t delay_s = 0;
  std::int32_t step_count = 0;            // of the first "Count" line
  std::int32_t most_steps = 0;            // of all of them: keys of later steps have no effect
  std::forward_list<CompiledStep> steps;  // by index; the steps that are not there are empty
};

struct CountLine {
  std::uint32_t event;  // position of the name in `events`
  std::int32_t step_count;
};

struct CompiledEvents {
  DefinitionEntries definitions;     // keeps the text into which the events point
  std::deque<CompiledEvent> events;  // in the order of their first "Count" lines
  std::deque<CountLine> lines;       // every "Count" line that makes an event, in the file's order
};

/// Returns whether a "Delay" line sets an event's trigger back to its name. Case-sensitive.
bool is_builtin_event(std::string_view name);

/// Compiles an entry list. A step's offset is the sum of its own delay and the offset of the step
/// before it at that moment, so the order of the "Delay" lines matters. The trace is called
/// for each value once for every event that takes it.
CompiledEvents compile_events(const DefinitionEntries& entries,
                              const DefinitionTrace* trace = nullptr);

/// Returns the event that a push finds, null when there is none. A test push compares the names,
/// any other the triggers, both exactly.
const CompiledEvent* find_event(const CompiledEvents& list, std::string_view name, bool is_test);

/// Returns the event with its first `step_count` steps; a step without keys is empty.
EventDefinition whole_event(const CompiledEvent& compiled, std::int32_t step_count);

/// Returns the line of this event in the list file: name, trigger, the steps with their decoded
/// payload and delay in milliseconds, and the event's delay in seconds.
std::string event_line(const CompiledEvent& compiled, std::int32_t step_count);

}  // namespace kovo
