#include "core/mapping_tables.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(MappingTables, ProductIdsDecideTheVariant) {
  const struct {
    const char* pid;
    int has_video_input, usbc_input;
  } cases[] = {
      {"KV-IN-HDMI-1", 1, 0},   {"KV-IN-HDMI-2", 1, 0},
      {"kv-out-hdmi-1", 0, 0},  {"KV-IN-USBC-1", 1, 1},
      {"KV-IN-USBC-2", 1, 1},   {"KV-OUT-USBC-1", 0, 1},
      {"KV-OUT-USBC-2", 0, 1},  {"", 1, 0},
      {"KV-OUT-HDMI-1x", 1, 0},
  };
  for (const auto& c : cases) {
    const Variant variant = variant_of(c.pid);
    EXPECT_EQ(variant.has_video_input, c.has_video_input) << c.pid;
    EXPECT_EQ(variant.usbc_input, c.usbc_input) << c.pid;
  }
}

TEST(MappingTables, ResolutionsAreFoundByTheirCodes) {
  std::string indexes;
  for (const char* code : {"0", "0020", "001f", "0010", "401D", "4032", "005E", "005F", "0060",
                           "0061", "40A5", "4053", "0013", "0004", "4021", "4048", "0000"}) {
    indexes += std::to_string(find_resolution(code)->index) + " ";
  }
  EXPECT_EQ(indexes, "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 0 ");
}

}  // namespace
}  // namespace kovo
