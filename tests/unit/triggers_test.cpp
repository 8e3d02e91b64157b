// The list of triggers in the documents against the tables that raise them.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "variables/mapping_tables.h"

namespace kovo {
namespace {

/// "trigger variable word" of each row of the document that is for a product.
std::set<std::string> documented(const std::string& product) {
  std::ifstream document(KOVO_DOCS "/interfaces.md");
  const std::regex row(R"(\| `([\w#]+)` \| `?(\w+)`? \| ([^|]+) \| (?:`([\w:]+)` )?\|)");
  std::set<std::string> rows;
  std::smatch match;
  for (std::string line; std::getline(document, line);) {
    if (!std::regex_match(line, match, row)) continue;
    if (match[3] == "all" || match[3] == product) {
      rows.insert(match.str(1) + " " + match.str(2) + " " + match.str(4));
    }
  }
  return rows;
}

/// The same of the rows that something finds: a change of their variable or a status line. The
/// serial format and the playback selection have events of their own, in other tables.
std::set<std::string> mapped(Variant variant) {
  const MappingTable table = mapping_rows(variant);
  std::set<std::string> rows;
  for (const MappingRow& row : table) {
    const bool by_variable = find_row(table, &MappingRow::variable, row.variable) == &row;
    const std::string word = row.setting == "local:x" ? "" : row.setting;
    if (row.variable == "S0_BAUDRATE" || (!by_variable && word.empty())) continue;
    rows.insert(row.status + " " + (by_variable ? row.variable : "none") + " " + word);
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
