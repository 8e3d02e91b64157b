#include "definitions/definition_entry.h"

#include "frame/text.h"

namespace kovo {
namespace {

// Tried in this order: an event name that holds an earlier word is cut there.
constexpr std::string_view kFieldWords[] = {"Count", "XMLfield", "Protocol", "Delay",
                                            "IP",    "Port",     "Data"};

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

std::string copy_line(const DefinitionEntry& entry, const std::string& value) {
  return entry.name + entry.field + entry.index + "=" + value + "\n";
}

}  // namespace

void split_definition_key(DefinitionEntries& entries, std::string_view key,
                          std::string_view value) {
  DefinitionEntry entry;
  entry.name = key;
  entry.value = value;
  for (const std::string_view word : kFieldWords) {
    const std::size_t at = key.find(word);
    if (at == std::string_view::npos || at == 0) continue;
    entry.name = key.substr(0, at);
    entry.field = word;
    entry.index = key.substr(at + word.size());
    entry.parts = entry.index.empty() ? 1 : 2;
    break;
  }
  entries.push_back(std::move(entry));
}

void parse_definition_line(DefinitionEntries& entries, std::string_view line) {
  const KeyValue pair = split_key_value(line);
  if (pair.found) split_definition_key(entries, pair.key, strip_newline(pair.value));
}

std::string s_hex_to_ascii(std::string_view text, const DefinitionTrace* trace) {
  std::string bytes;
  bytes.reserve(text.size() / 2 + 1);
  for (std::size_t at = 0; at < text.size(); at += 2) {
    bytes.push_back(static_cast<char>(to_int32(text.substr(at, 2), 16)));
  }
  if (trace != nullptr) trace->decoded(text, bytes);
  return bytes;
}

std::string default_definitions(bool events_enabled) {
  return std::string("EnableEvents=") + (events_enabled ? "true" : "false") + "\n" + kDefaultLines;
}

std::string definitions_raw(const DefinitionEntries& entries) {
  std::string text;
  for (const DefinitionEntry& entry : entries) text += copy_line(entry, entry.value);
  return text;
}

std::string definitions_ascii(const DefinitionEntries& entries, const DefinitionTrace* trace) {
  std::string text;
  for (const DefinitionEntry& entry : entries) {
    text +=
        copy_line(entry, entry.field == "Data" ? s_hex_to_ascii(entry.value, trace) : entry.value);
  }
  return text;
}

}  // namespace kovo
