#include "core/mapping_tables.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(MappingTables, ProductIdsDecideTheRows) {
  const struct {
    const char* pid;
    const char* hdcp_event;
  } cases[] = {
      {"KV-IN-HDMI-1", "HDCP1Status"},    {"KV-IN-HDMI-2", "HDCP1Status"},
      {"kv-out-hdmi-1", "HDCPOutStatus"}, {"KV-IN-USBC-1", "HDCPStatus"},
      {"KV-IN-USBC-2", "HDCPStatus"},     {"KV-OUT-USBC-1", "HDCPOutStatus"},
      {"KV-OUT-USBC-2", "HDCPOutStatus"}, {"", "HDCP1Status"},
      {"KV-OUT-HDMI-1x", "HDCP1Status"},
  };
  for (const auto& c : cases) {
    MappingTable table = mapping_rows(variant_of(c.pid));
    EXPECT_EQ(find_row(table, &MappingRow::variable, "CUR_HDCP")->status, c.hdcp_event) << c.pid;
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
