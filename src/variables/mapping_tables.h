// The daemon's vocabulary for device variables: which status, and so which event, belongs to a
// variable, and which resolution to a timing code.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
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

struct Variant {
  std::int32_t has_video_input;
  std::int32_t usbc_input;
};

/// Returns what the product id, case-insensitive, says of the device's video inputs. An unknown id
/// counts as an input side with two HDMI inputs.
Variant variant_of(std::string_view pid);

/// Appends a row without a last value. Returns -1 when the status is empty, otherwise 0.
int map_add(MappingTable& table, std::string_view variable, std::string_view status,
            std::string_view setting);

/// Returns the rows of one product variant, in their order, without last values.
MappingTable mapping_rows(Variant variant);

/// A name of a row: variable, status or setting.
using RowName = std::string MappingRow::*;

/// Returns the first row of a name, case-insensitive; null when there is none, and for "". The
/// caller holds mapping_lock as long as it uses a row of the central state.
MappingRow* find_row(MappingTable& table, RowName column, std::string_view name);

/// Returns the first entry of a timing code, case-insensitive; null when there is none.
const ResolutionEntry* find_resolution(std::string_view code);

}  // namespace kovo
