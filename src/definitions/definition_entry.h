// The lines of an event definition file: how they are split, how their values are decoded, and the
// texts that show them. Pure data in, data out.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace kovo {

struct DefinitionEntry {
  std::int32_t parts = 0;  // 0 no field word, 1 name and field, 2 name, field and index
  std::string name;        // the key up to the field word; the whole key when parts is 0
  std::string field;       // "Count", "XMLfield", "Protocol", "Delay", "IP", "Port", "Data" or ""
  std::string index;       // the text after the field word when parts is 2
  std::string value;       // everything after the first "=", without its line feed
};

using DefinitionEntries = std::deque<DefinitionEntry>;

/// Who wants to hear what is made of the values.
struct DefinitionTrace {
  void (*decoded)(std::string_view text, const std::string& bytes);    // hexadecimal text
  void (*offset)(std::int32_t step, std::int64_t delay_from_exec_ns);  // a step's "Delay"
};

/// Splits a key into event name, field word and index and appends the entry to the list. The first
/// field word, in their fixed order, whose first occurrence lies behind the key's first character
/// is taken.
void split_definition_key(DefinitionEntries& entries, std::string_view key, std::string_view value);

/// Parses one line, with or without its line feed; a line without "=" adds nothing.
void parse_definition_line(DefinitionEntries& entries, std::string_view line);

/// Decodes hexadecimal text, two characters a byte; a last single character is a byte of its own.
/// Each pair is read as a number: what is no digit ends it, and no digits give 0.
std::string s_hex_to_ascii(std::string_view text, const DefinitionTrace* trace = nullptr);

/// The ten default lines; events_enabled decides the first.
std::string default_definitions(bool events_enabled);

/// The entries as lines of a derived copy: as they were read, or with Data values decoded.
std::string definitions_raw(const DefinitionEntries& entries);
std::string definitions_ascii(const DefinitionEntries& entries,
                              const DefinitionTrace* trace = nullptr);

}  // namespace kovo
