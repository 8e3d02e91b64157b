// A definition file is read and compiled whole, and one that cannot be read changes nothing. Each
// of the two sets of entries belongs to one thread and has no lock; the compiled lists are shared
// and replaced under state_lock, their files written under it too, so that a list file shows the
// list in use. A lookup copies the event, because the list may be replaced while the event waits.
// Invariant: an event in the queue never refers to a list.
#include "daemon/state/definition_file.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include "core/templates.h"
#include "daemon/state/central_state.h"
#include "daemon/state/settings.h"
#include "daemon/state/status_vars.h"
#include "daemon/system/files.h"
#include "daemon/system/host.h"
#include "daemon/system/log.h"

namespace kovo {
namespace {

constexpr char kTestDefinitionPath[] = "/www/pelm/tmp/kovotest.txt";
constexpr std::size_t kPieceBytes = 65536;
constexpr std::size_t kMaxListBytes = std::size_t{4} << 20;  // /tmp is memory

void print_decoded(std::string_view text, const std::string& bytes) {
  LOG_DEBUG("s_hex_to_ascii", "%s to ret=%s\n", std::string(text).c_str(), bytes.c_str());
}

void print_offset(std::int32_t step, std::int64_t delay_from_exec_ns) {
  LOG_DEBUG("rebuild_kovo_event_list", "ns delay from exec=(%d)%lld;\n", step,
            static_cast<long long>(delay_from_exec_ns));
}

/// Returns what prints, with -d, decoded payloads and compiled steps; null without -d.
const DefinitionTrace* debug_trace() {
  static constexpr DefinitionTrace kTrace = {print_decoded, print_offset};
  return debug != 0 ? &kTrace : nullptr;
}

/// Opens the file. Creates it with the defaults if it does not exist.
File open_definitions(const char* path, bool events_enabled) {
  File file = open_for_reading(path);
  if (file != nullptr) return file;
  const bool missing = errno == ENOENT;  // not when descriptors have run out
  log_main("[%s;%d] Error: not found: %s, writ default\n", "renew_kovo_txt", __LINE__, path);
  if (missing) create_file(path, default_definitions(events_enabled));
  return open_for_reading(path);
}

/// Reads the text of a file. Returns false with errno set when that fails or the file is too large.
bool read_text(std::FILE* file, std::string& text) {
  char buffer[4096];
  std::size_t size = 0;
  while ((size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    text.append(buffer, size);
    if (text.size() <= kMaxDefinitionBytes) continue;
    errno = EFBIG;
    return false;
  }
  return std::ferror(file) == 0;
}

bool is_default(const std::string& definitions) {
  return definitions.empty() || definitions == default_definitions(true) ||
         definitions == default_definitions(false);
}

/// Returns false for a file that may hold something and only cannot be read now.
bool is_missing_or_empty(const char* path) {
  const File file = open_for_reading(path);
  if (file == nullptr) return errno == ENOENT;
  return std::fgetc(file.get()) == EOF && std::ferror(file.get()) == 0;
}

/// Keeps what a device whose /www is memory has from one boot to the next.
void write_persistent_copy(const std::string& definitions, ReadReason reason) {
  constexpr char kPath[] = "/mnt/persistent/kovo.txt";
  if (reason == ReadReason::kStart && is_default(definitions) && !is_missing_or_empty(kPath)) {
    return;  // restoring the copy has failed
  }
  if (!has_content(kPath, definitions)) replace_file(kPath, definitions);
}

/// Writes the derived copies. One that cannot be written keeps no other from being written.
void write_copies(const DefinitionEntries& entries, bool is_test, ReadReason reason) {
  const char* ascii = is_test ? "/tmp/kovo_test_asc.txt" : "/tmp/kovo_asc.txt";
  const char* raw = is_test ? "/tmp/kovo_test_hex.txt" : "/tmp/kovo_hex.txt";
  LOG_DEBUG("renew_kovo_txt", "save %s %s\n", ascii, raw);
  write_file(ascii, definitions_ascii(entries, debug_trace()));
  const std::string lines = definitions_raw(entries);
  write_file(raw, lines);
  if (!is_test) write_persistent_copy(lines, reason);
}

EventDefinition copy_event(const CentralState& state, std::string_view name, bool is_test) {
  const MutexLock held(state.state_lock);
  const CompiledEvents& list = is_test ? state.test_event_list : state.event_list;
  const CompiledEvent* found = find_event(list, name, is_test);
  return found == nullptr ? EventDefinition() : whole_event(*found, found->step_count);
}

/// Writes an event a line, in pieces, at most kMaxListBytes of whole lines.
void write_event_list_file(const CompiledEvents& list, const char* path) {
  std::string piece;
  std::size_t written = 0;
  if (!write_file(path, "")) return;
  for (const CountLine& count : list.lines) {
    const std::string line = event_line(list.events[count.event], count.step_count);
    if (written + piece.size() + line.size() > kMaxListBytes) break;
    piece += line;
    if (piece.size() < kPieceBytes) continue;
    if (!append_file(path, piece)) return;
    written += piece.size();
    piece.clear();
  }
  append_file(path, piece);
}

}  // namespace

void renew_kovo_txt(CentralState& state, bool is_test, ReadReason reason) {
  renew_enable_event(state);
  const char* path = is_test ? kTestDefinitionPath : kDefinitionPath;
  const File file = open_definitions(path, state.events_enabled == 1);
  std::string text;
  if (file == nullptr || !read_text(file.get(), text)) {
    log_main("[%s;%d] Error: cannot open %s;%s\n", "renew_kovo_txt", __LINE__, path,
             error_text(errno));
    return;
  }
  DefinitionEntries& entries = is_test ? state.test_definition_entries : state.definition_entries;
  entries = parse_definitions(text);
  LOG_MAIN("renew_kovo_txt", "renew %s\n", path);
  write_copies(entries, is_test, reason);
}

void rebuild_kovo_event_list(CentralState& state, bool is_test) {
  {
    CompiledEvents old;  // freed after the lock is released
    const MutexLock held(state.state_lock);
    CompiledEvents& list = is_test ? state.test_event_list : state.event_list;
    old = std::exchange(
        list, compile_events(is_test ? state.test_definition_entries : state.definition_entries,
                             debug_trace()));
    LOG_MAIN("rebuild_kovo_event_list",
             is_test ? "rebuild test kovo event txt: OK\n" : "rebuild kovo event txt: OK\n");
    write_event_list_file(list,
                          is_test ? "/tmp/kovo_event_list_test.txt" : "/tmp/kovo_event_list.txt");
  }
  give_back_memory();
}

EventDefinition lookup_event(CentralState& state, std::string_view name, bool is_test) {
  EventDefinition event = copy_event(state, strip_newline(name), is_test);
  if (event.name.empty()) return event;
  const TemplateValues values = template_values(state);
  for (SubCommand& command : event.commands) {
    command.data = expand_templates(values, command.data);
  }
  if (is_test) event.delay_s = 0;
  return event;
}

}  // namespace kovo
