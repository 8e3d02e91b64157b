// The lines of an event definition file: how they are split, how their values are decoded, and the
// derived copies. No input or output.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace kovo {

constexpr std::size_t kMaxDefinitionBytes = std::size_t{1} << 20;  // a larger file is not read

constexpr std::string_view kCountField = "Count";
constexpr std::string_view kTriggerField = "XMLfield";
constexpr std::string_view kProtocolField = "Protocol";
constexpr std::string_view kDelayField = "Delay";
constexpr std::string_view kIpField = "IP";
constexpr std::string_view kPortField = "Port";
constexpr std::string_view kDataField = "Data";

// In the order in which they are tried: an event name that contains an earlier word ends there.
constexpr std::string_view kFieldWords[] = {kCountField, kTriggerField, kProtocolField, kDelayField,
                                            kIpField,    kPortField,    kDataField};

// The built-in events.
constexpr std::string_view kPowerOn = "PowerOn";
constexpr std::string_view kDviConnected = "DVIConnected";
constexpr std::string_view kDviDisconnected = "DVIDisconnected";

/// One line of a definition file; its texts point into the line.
struct DefinitionEntry {
  std::int32_t parts = 0;  // 0 no field word, 1 name and field, 2 name, field and index
  std::string_view name;   // the key up to the field word; the whole key when parts is 0
  std::string_view field;  // one of kFieldWords or ""
  std::string_view index;  // the text after the field word when parts is 2
  std::string_view value;  // everything after the first "=", without its newline
};

/// Splits a key into event name, field word and index. The field words are tried in a fixed order;
/// the first whose first occurrence is after the key's first character splits it.
DefinitionEntry split_definition_key(std::string_view key, std::string_view value);

struct DefinitionIterator {
  DefinitionEntry operator*() const;
  DefinitionIterator& operator++() {
    line += std::strlen(line) + 1;
    return *this;
  }
  bool operator!=(const DefinitionIterator& other) const {
    return line != other.line;
  }

  const char* line;
};

/// The entries of a definition file, in order. Copies share the text; a pointer into it is valid
/// while a copy exists.
struct DefinitionEntries {
  DefinitionEntries() = default;
  explicit DefinitionEntries(std::string lines)
      : text(std::make_shared<const std::string>(std::move(lines))) {
    assert(text->empty() || text->back() == '\0');
  }
  DefinitionIterator begin() const {
    return {text->c_str()};
  }
  DefinitionIterator end() const {
    return {text->c_str() + text->size()};
  }

  // The lines with an "=", each ended by a NUL instead of its newline.
  std::shared_ptr<const std::string> text = std::make_shared<const std::string>();
};

/// Callbacks that report how values are decoded.
struct DefinitionTrace {
  void (*decoded)(std::string_view text, const std::string& bytes);    // hexadecimal text
  void (*offset)(std::int32_t step, std::int64_t delay_from_exec_ns);  // a step's "Delay"
};

/// Appends a line, with or without its newline, to the text of entries, if it holds an "=".
void add_definition_line(std::string& text, std::string_view line);

/// Splits the text of a definition file into entries. A line of more than kMaxMessage bytes counts
/// as several. A line ends at its first NUL.
DefinitionEntries parse_definitions(std::string_view file);

/// Decodes hexadecimal text, two characters a byte; a last single character is a byte of its own.
/// Each pair is parsed as to_int32 does: "1g" is 1, "g1" is 0.
std::string s_hex_to_ascii(std::string_view text, const DefinitionTrace* trace = nullptr);

/// Returns the ten default lines. The first says whether events are enabled.
std::string default_definitions(bool events_enabled);

/// Return the lines of a derived copy: as they were read, or with Data values decoded.
std::string definitions_raw(const DefinitionEntries& entries);
std::string definitions_ascii(const DefinitionEntries& entries,
                              const DefinitionTrace* trace = nullptr);

}  // namespace kovo
