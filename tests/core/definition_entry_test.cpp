#include "core/definition_entry.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(DefinitionKeys, AreSplitAtTheFirstFieldWordOfTheOrder) {
  std::string key = "x";
  for (const char* word : {"Data", "Port", "IP", "Delay", "Protocol", "XMLfield", "Count"}) {
    key += word;
    EXPECT_EQ(split_definition_key(key, "").field, word);
  }
}

}  // namespace
}  // namespace kovo
