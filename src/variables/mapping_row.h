// The rows of the two fixed tables about device variables.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kovo {

struct MappingRow {
  std::string variable;        // device variable; "" when no variable drives the row
  std::string status;          // status name, and the event pushed for the row; never empty
  std::string setting;         // the command word that sets it; "" when there is none
  std::string last_value;      // playback selection and serial format only
  std::int64_t last_time = 0;  // last message or status line that counted, seconds since the epoch
};

struct ResolutionEntry {
  std::int32_t index;
  const char* name;
  const char* code;  // four hexadecimal digits, or "0"
};

using MappingTable = std::vector<MappingRow>;
using ResolutionTable = std::vector<ResolutionEntry>;

}  // namespace kovo
