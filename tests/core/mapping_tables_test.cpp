#include "core/mapping_tables.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(MappingTables, ProductIdsDecideTheRows) {
  std::string events;
  for (const char* pid : {"KV-IN-HDMI-1", "KV-IN-HDMI-2", "kv-out-hdmi-1", "KV-IN-USBC-1",
                          "KV-IN-USBC-2", "KV-OUT-USBC-1", "KV-OUT-USBC-2", "", "KV-OUT-HDMI-1x"}) {
    MappingTable table = mapping_rows(variant_of(pid));
    events += find_row(table, &MappingRow::variable, "CUR_HDCP")->status + " ";
  }
  EXPECT_EQ(events,
            "HDCP1Status HDCP1Status HDCPOutStatus HDCPStatus HDCPStatus HDCPOutStatus "
            "HDCPOutStatus HDCP1Status HDCP1Status ");
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
