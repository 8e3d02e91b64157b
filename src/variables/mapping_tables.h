// The daemon's vocabulary for device variables: which status, and so which event, belongs to a
// variable, and which resolution to a timing code.
#pragma once

#include <cstdint>
#include <string_view>

#include "variables/mapping_row.h"

namespace kovo {

struct Variant {
  std::int32_t has_video_input;
  std::int32_t usbc_input;
};

/// The product-id rule: what the product id says of the device's video inputs, in any letter case.
/// An unknown id counts as an input side with two HDMI inputs.
Variant variant_of(std::string_view pid);

/// Appends a row without a last value. -1 when the status is empty, otherwise 0.
int map_add(MappingTable& table, std::string_view variable, std::string_view status,
            std::string_view setting);

/// The rows of one product variant, in their order, none of them with a last value yet.
MappingTable mapping_rows(Variant variant);

/// The resolutions, in their order.
ResolutionTable make_resolution_table();

/// The first row that a variable drives, in any letter case; null when there is none. The caller
/// holds mapping_lock as long as it uses the row; so for the next two.
MappingRow* find_row_by_variable(MappingTable& table, std::string_view variable);

/// The first row of a status name, in any letter case; null when there is none.
MappingRow* find_row_by_status(MappingTable& table, std::string_view status);

/// The first row of a setting word, in any letter case; null when there is none.
MappingRow* find_row_by_setting(MappingTable& table, std::string_view setting);

/// The first entry of a timing code, in any letter case; null when there is none.
const ResolutionEntry* find_resolution(const ResolutionTable& table, std::string_view code);

}  // namespace kovo
