#include "definitions/definition_file.h"

#include <cerrno>
#include <cstdio>

#include "definitions/event_list.h"
#include "definitions/settings.h"
#include "frame/files.h"
#include "frame/globals.h"
#include "frame/log.h"
#include "variables/central_state.h"

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

/// Opens the file, created with the defaults first when it is not there. The definition file may be
/// a link: its folder belongs to those who edit it. The folder of the test file may be anybody's.
File open_definitions(const char* path, Links links, bool events_enabled) {
  File file = open_for_reading(path, links);
  if (file != nullptr) return file;
  const bool missing = errno == ENOENT;  // out of descriptors, a file that is there stays as it is
  log_main("[%s;%d] Error: not found: %s, writ default\n", "renew_kovo_txt", __LINE__, path);
  if (missing) create_file(path, default_definitions(events_enabled));
  return open_for_reading(path, links);
}

/// Reads all lines. False when the file cannot be read to its end, as with a folder in its place.
bool read_entries(std::FILE* file, DefinitionEntries& entries) {
  LineBuffer buffer;
  std::string_view line;
  errno = 0;
  while (read_line(file, buffer, line)) parse_definition_line(entries, line);
  return std::ferror(file) == 0;
}

/// A copy that cannot be written is skipped; the others are still written.
void write_copies(const CentralState& state, int test) {
  if (test == 0) {
    if (debug != 0) {
      print_stdout("[%s:%d] save /tmp/kovo_asc.txt /tmp/kovo_hex.txt\n", "renew_kovo_txt",
                   __LINE__);
    }
    write_definitions_ascii(state.definition_entries, "/tmp/kovo_asc.txt");
    write_definitions_raw(state.definition_entries, "/tmp/kovo_hex.txt");
    write_definitions_raw(state.definition_entries, "/mnt/persistent/kovo.txt");
    return;
  }
  if (debug != 0) {
    print_stdout("[%s:%d] save /tmp/kovo_test_asc.txt /tmp/kovo_test_hex.txt\n", "renew_kovo_txt",
                 __LINE__);
  }
  write_definitions_ascii(state.test_definition_entries, "/tmp/kovo_test_asc.txt");
  write_definitions_raw(state.test_definition_entries, "/tmp/kovo_test_hex.txt");
}

}  // namespace

int renew_kovo_txt(CentralState& state, int test) {
  renew_enable_event(state);
  const char* path = test == 0 ? definition_path : test_definition_path;
  const Links links = test == 0 ? Links::kFollow : Links::kRefuse;
  const File file = open_definitions(path, links, state.events_enabled == 1);
  DefinitionEntries entries;
  if (file == nullptr || !read_entries(file.get(), entries)) {
    const std::string error = error_text(errno);
    log_main("[%s;%d] Error: cannot open %s;%s\n", "renew_kovo_txt", __LINE__, path, error.c_str());
    return -1;
  }
  (test == 0 ? state.definition_entries : state.test_definition_entries).swap(entries);
  log_main("[%s:%d] renew %s\n", "renew_kovo_txt", __LINE__, path);
  write_copies(state, test);
  return 0;
}

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

std::string default_definitions(bool events_enabled) {
  return std::string("EnableEvents=") + (events_enabled ? "true" : "false") + "\n" + kDefaultLines;
}

std::string definitions_raw(const DefinitionEntries& entries) {
  std::string text;
  for (const DefinitionEntry& entry : entries) text += copy_line(entry, entry.value);
  return text;
}

std::string definitions_ascii(const DefinitionEntries& entries) {
  std::string text;
  for (const DefinitionEntry& entry : entries) {
    text += copy_line(entry, entry.field == "Data" ? s_hex_to_ascii(entry.value) : entry.value);
  }
  return text;
}

int write_definitions_raw(const DefinitionEntries& entries, const std::string& path) {
  return write_file(path.c_str(), definitions_raw(entries)) ? 0 : -1;
}

int write_definitions_ascii(const DefinitionEntries& entries, const std::string& path) {
  return write_file(path.c_str(), definitions_ascii(entries)) ? 0 : -1;
}

}  // namespace kovo
