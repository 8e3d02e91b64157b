// The lists of triggers in the documents against the tables that raise them.
#include "check/triggers.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "core/templates.h"

namespace kovo::check {
namespace {

std::string code(const std::string& text) {
  return " `" + text + "` |";
}

TEST(Triggers, AreDocumentedWithTheirSources) {
  std::set<std::string> documented;  // whole rows of the mapped ones, the cells of names of others
  std::ifstream document(KOVO_DOCS "/interfaces.md");
  const std::regex row(R"((\|( `[\w#]+` \|){1,2}).*)");
  bool in_triggers = false;
  for (std::string line; std::getline(document, line);) {
    if (line.substr(0, 3) == "## ") in_triggers = line == "## Triggers";
    std::smatch match;
    if (!in_triggers || !std::regex_match(line, match, row)) continue;
    documented.insert(std::count(line.begin(), line.end(), '|') == 5 ? line : match.str(1));
  }
  std::set<std::string> raised;
  std::map<std::string, std::string> products;  // of a row with "*" in their place
  const std::pair<const char*, unsigned> variants[] = {
      {"two HDMI inputs", kInputHdmi}, {"HDMI and USB-C inputs", kInputUsbc}, {"output", kOutput}};
  for (const auto& [product, variant] : variants) {
    std::set<std::string> by_row;
    for (const TriggerSource& source : trigger_sources(variant)) {
      if (source.cause == TriggerCause::kDisplay) continue;  // raised by name, as any is
      const std::string trigger = "|" + code(source.trigger);
      if (source.cause == TriggerCause::kVariable) {
        by_row.insert(trigger + code(source.name));
      } else {
        const bool by_part = source.cause == TriggerCause::kVariablePart;
        raised.insert(by_part ? trigger + code(source.name) : trigger);
      }
    }
    for (const MappingRow& mapped : mapping_rows(variants_of(variant).front())) {
      const bool counts = !mapped.setting.empty() && mapped.setting != "local:x";
      const std::string trigger = "|" + code(mapped.status);
      const bool raises = by_row.count(trigger + code(mapped.variable)) > 0;
      if (!raises && !counts) continue;
      const std::string cause = raises ? code(mapped.variable) : " none |";
      products[trigger + cause + " * |" + (counts ? code(mapped.setting) : " |")] += product;
    }
  }
  const std::string all = "two HDMI inputsHDMI and USB-C inputsoutput";
  for (const auto& [line, names] : products) {
    raised.insert(replace_all(line, "*", names == all ? "all" : names));
  }
  EXPECT_EQ(documented, raised);
}

}  // namespace
}  // namespace kovo::check
