#include "definitions/definition_file.h"

#include <sys/stat.h>

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

/// Opens the file, which is created with the defaults if it does not exist.
File open_definitions(const char* path, bool events_enabled) {
  File file = open_for_reading(path);
  if (file != nullptr) return file;
  const bool missing = errno == ENOENT;  // out of descriptors, a file that is there stays as it is
  log_main("[%s;%d] Error: not found: %s, writ default\n", "renew_kovo_txt", __LINE__, path);
  if (missing) create_file(path, default_definitions(events_enabled));
  return open_for_reading(path);
}

/// Reads the text of a file. False when it cannot be read to its end, as with a directory in its
/// place, or is too large, also when it grows meanwhile.
bool read_text(std::FILE* file, std::string& text) {
  struct stat info {};
  errno = 0;
  if (fstat(fileno(file), &info) != 0) return false;
  bool fits = info.st_size <= off_t{kMaxDefinitionBytes};
  char buffer[4096];
  std::size_t size = 0;
  while (fits && (size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    text.append(buffer, size);
    fits = text.size() <= kMaxDefinitionBytes;
  }
  if (!fits) errno = EFBIG;
  return fits && std::ferror(file) == 0;
}

/// A copy that cannot be written is skipped; the others are still written.
void write_copies(const CentralState& state, int test) {
  if (test == 0) {
    LOG_DEBUG("renew_kovo_txt", "save /tmp/kovo_asc.txt /tmp/kovo_hex.txt\n");
    write_definitions_ascii(state.definition_entries, "/tmp/kovo_asc.txt");
    write_definitions_raw(state.definition_entries, "/tmp/kovo_hex.txt");
    write_definitions_raw(state.definition_entries, "/mnt/persistent/kovo.txt");
    return;
  }
  LOG_DEBUG("renew_kovo_txt", "save /tmp/kovo_test_asc.txt /tmp/kovo_test_hex.txt\n");
  write_definitions_ascii(state.test_definition_entries, "/tmp/kovo_test_asc.txt");
  write_definitions_raw(state.test_definition_entries, "/tmp/kovo_test_hex.txt");
}

}  // namespace

int renew_kovo_txt(CentralState& state, int test) {
  renew_enable_event(state);
  const char* path = test == 0 ? definition_path : test_definition_path;
  const File file = open_definitions(path, state.events_enabled == 1);
  std::string text;
  if (file == nullptr || !read_text(file.get(), text)) {
    const std::string error = error_text(errno);
    log_main("[%s;%d] Error: cannot open %s;%s\n", "renew_kovo_txt", __LINE__, path, error.c_str());
    return -1;
  }
  (test == 0 ? state.definition_entries : state.test_definition_entries) = parse_definitions(text);
  LOG_MAIN("renew_kovo_txt", "renew %s\n", path);
  write_copies(state, test);
  return 0;
}

int write_definitions_raw(const DefinitionEntries& entries, const std::string& path) {
  return write_file(path, definitions_raw(entries)) ? 0 : -1;
}

int write_definitions_ascii(const DefinitionEntries& entries, const std::string& path) {
  return write_file(path, definitions_ascii(entries, debug_trace())) ? 0 : -1;
}

}  // namespace kovo
