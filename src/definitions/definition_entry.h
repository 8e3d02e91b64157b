// One parsed line of an event definition file.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace kovo {

struct DefinitionEntry {
  std::int32_t parts = 0;  // 0 no field word, 1 name and field, 2 name, field and index
  std::string name;        // the key up to the field word; the whole key when parts is 0
  std::string field;       // "Count", "XMLfield", "Protocol", "Delay", "IP", "Port", "Data" or ""
  std::string index;       // the text after the field word when parts is 2
  std::string value;       // everything after the first "=", without its line feed
};

using DefinitionEntries = std::deque<DefinitionEntry>;

}  // namespace kovo
