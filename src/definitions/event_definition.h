// One executable event and its send steps.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace kovo {

struct SubCommand {
  std::string ip;
  std::string port;
  std::string protocol;                 // the sender is chosen by the words in it
  std::string data;                     // payload, any byte
  std::int64_t delay_ns = 0;            // the step's own delay
  std::int64_t delay_from_exec_ns = 0;  // offset from the start of the event's execution
};

struct EventDefinition {
  std::string name;     // common prefix of its definition keys; empty when a lookup found nothing
  std::string trigger;  // the name by which a normal push finds it
  std::int64_t queued_at = 0;  // nanoseconds since the queue's created_at; 0 in the lists
  std::int64_t due_at = 0;     // likewise
  std::vector<SubCommand> commands;
  std::int32_t status = 0;   // 0 waiting, 1 executed
  std::int32_t delay_s = 0;  // seconds between queuing and execution
  std::int32_t test = 0;     // 1 for a test push
};

using EventList = std::deque<EventDefinition>;

}  // namespace kovo
