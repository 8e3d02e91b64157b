// The tables for device variables: the event of each variable, and the resolution of a timing code.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kovo {

struct MappingRow {
  std::string variable;        // device variable; "" when no variable drives the row
  std::string status;          // the event pushed for the row; never empty
  std::string setting;         // the word of its status lines; "" when there is none
  std::int64_t last_time = 0;  // of its last message or status line, seconds since the epoch
};

struct ResolutionEntry {
  std::int32_t index;
  const char* code;  // four hexadecimal digits, or "0"
};

using MappingTable = std::vector<MappingRow>;

/// The product variants, which differ in their mapping rows. The outputs of both
/// families are one variant.
enum class Variant { kInputHdmi, kInputUsbc, kOutput };

/// Returns the variant of a product id, case-insensitive. An unknown id counts as two HDMI inputs.
Variant variant_of(std::string_view pid);

/// Returns the rows of a product variant, none of which has been seen yet.
MappingTable mapping_rows(Variant variant);

/// A name of a row: variable, status or setting.
using RowName = std::string MappingRow::*;

/// Returns the first row with a name, case-insensitive; null when there is none, and for "". The
/// caller holds mapping_lock while it uses a row of the central state.
MappingRow* find_row(MappingTable& table, RowName column, std::string_view name);

/// Returns the first entry of a timing code, case-insensitive; null when there is none.
const ResolutionEntry* find_resolution(std::string_view code);

}  // namespace kovo
