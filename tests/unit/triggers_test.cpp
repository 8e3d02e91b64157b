// The list of triggers in the documents against the tables that raise them.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "variables/mapping_tables.h"

namespace kovo {
namespace {

/// "trigger variable" of each row of the document that is for a product.
std::set<std::string> documented(const std::string& product) {
  std::ifstream document(KOVO_DOCS "/interfaces.md");
  const std::regex row("\\| `(\\w+)` \\| `(\\w+)` \\| ([^|]+) \\|");
  std::set<std::string> rows;
  std::smatch match;
  for (std::string line; std::getline(document, line);) {
    if (!std::regex_match(line, match, row)) continue;
    if (match[3] == "all" || match[3] == product) rows.insert(match.str(1) + " " + match.str(2));
  }
  return rows;
}

/// The same of the rows that a change of their variable finds. The serial format has events of its
/// own, in another table of the document.
std::set<std::string> mapped(Variant variant) {
  MappingTable table = mapping_rows(variant);
  std::set<std::string> rows;
  for (const MappingRow& row : table) {
    const MappingRow* found = find_row_by_variable(table, row.variable);
    if (found != nullptr && row.variable != "S0_BAUDRATE") {
      rows.insert(found->status + " " + found->variable);
    }
  }
  return rows;
}

TEST(Triggers, TheDocumentListsWhatRaisesThem) {
  EXPECT_EQ(documented("two HDMI inputs"), mapped({1, 0}));
  EXPECT_EQ(documented("HDMI and USB-C inputs"), mapped({1, 1}));
  EXPECT_EQ(documented("output"), mapped({0, 0}));
}

}  // namespace
}  // namespace kovo
