// A file of many short lines would take fifty times its size as records, so the entries are kept as
// one text and split again at each access. A key is split by searching for a field word, not by the
// names of known events. Nothing is validated: the compiler ignores an entry that it cannot use.
// Invariant: definitions_raw returns the lines with an "=" as they were read.
#include "core/definition_entry.h"

#include <algorithm>

#include "core/text.h"

namespace kovo {
namespace {

constexpr char kDefaultLines[] =
    "FastCableDetectEvents=false\n"
    "PowerOnCount=0\n"
    "PowerOnDelay=1\n"
    "DVIConnectedCount=0\n"
    "DVIConnectedDelay=0\n"
    "DVIDisconnectedCount=0\n"
    "DVIDisconnectedDelay=0\n"
    "GenericEventsCount=0\n"
    "DataEncode=HEX\n";

}  // namespace

DefinitionEntry split_definition_key(std::string_view key, std::string_view value) {
  for (const std::string_view word : kFieldWords) {
    const std::size_t at = key.find(word);
    if (at == std::string_view::npos || at == 0) continue;
    const std::string_view index = key.substr(at + word.size());
    return {index.empty() ? 1 : 2, key.substr(0, at), word, index, value};
  }
  return {0, key, {}, {}, value};
}

DefinitionEntry DefinitionIterator::operator*() const {
  const KeyValue pair = split_key_value(line);
  return split_definition_key(pair.key, pair.value);
}

void add_definition_line(std::string& text, std::string_view line) {
  if (!contains(line, "=")) return;
  text += strip_newline(line);
  text += '\0';
}

DefinitionEntries parse_definitions(std::string_view file) {
  std::string text;
  while (!file.empty()) {
    const std::string_view piece = truncated(file, kMaxMessage);
    const std::string_view line = piece.substr(0, until_newline(piece).size() + 1);
    add_definition_line(text, until_nul(line));
    file.remove_prefix(line.size());
  }
  text.shrink_to_fit();
  return DefinitionEntries(std::move(text));
}

std::string s_hex_to_ascii(std::string_view text, const DefinitionTrace* trace) {
  std::string bytes;
  bytes.reserve(text.size() / 2 + 1);
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const std::string_view pair = text.substr(at, 2);
    const bool digits = pair.size() == 2 && hex_digit(pair[0]) >= 0 && hex_digit(pair[1]) >= 0;
    const int value = digits ? 16 * hex_digit(pair[0]) + hex_digit(pair[1]) : to_int32(pair, 16);
    bytes.push_back(static_cast<char>(value));
  }
  if (trace != nullptr) trace->decoded(text, bytes);
  return bytes;
}

std::string default_definitions(bool events_enabled) {
  return std::string("EnableEvents=") + (events_enabled ? "true" : "false") + "\n" + kDefaultLines;
}

std::string definitions_raw(const DefinitionEntries& entries) {
  std::string text(*entries.text);
  std::replace(text.begin(), text.end(), '\0', '\n');
  return text;
}

std::string definitions_ascii(const DefinitionEntries& entries, const DefinitionTrace* trace) {
  std::string text;
  for (const DefinitionEntry& entry : entries) {
    text.append(entry.name).append(entry.field).append(entry.index).append("=");
    text.append(entry.field == kDataField ? s_hex_to_ascii(entry.value, trace)
                                          : std::string(entry.value))
        .append("\n");
  }
  return text;
}

}  // namespace kovo
