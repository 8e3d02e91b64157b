#include "check/log/files.h"

#include <dirent.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>

#include "check/log/parts.h"
#include "check/log/report.h"
#include "check/words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kPieceSize = std::size_t{1} << 20;
constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kMinWidth = 40;

struct Logs {
  LogParts parts;
  std::set<std::pair<dev_t, ino_t>> seen;
};

void print_error(const std::string& text) {
  std::fprintf(stderr, "kovocheck: %s\n", escaped(text).c_str());
}

/// Reads a file to its end, or to where it is damaged; returns what is wrong with it, "" if
/// nothing.
std::string read_file(const std::string& path, std::string& text) {
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> file(gzopen(path.c_str(), "rb"), gzclose);
  if (file == nullptr) return std::strerror(errno);
  std::string piece(kPieceSize, '\0');
  int size = 0;
  while ((size = gzread(file.get(), piece.data(), static_cast<unsigned>(piece.size()))) > 0) {
    text.append(piece, 0, static_cast<std::size_t>(size));
  }
  int error = Z_OK;
  const char* reason = gzerror(file.get(), &error);
  if (error == Z_OK || error == Z_STREAM_END) return "";
  if (error == Z_ERRNO) return std::strerror(errno);
  return std::string(reason).erase(0, error == Z_MEM_ERROR ? 0 : path.size() + 2);  // "PATH: "
}

std::vector<std::string> files_of(const std::string& directory) {
  std::vector<std::string> files;
  const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir(directory.c_str()), closedir);
  while (const dirent* entry = list == nullptr ? nullptr : readdir(list.get())) {
    const std::string name = entry->d_name;
    if (name.rfind("kovoevent.log", 0) == 0 || name.rfind("kovo.log", 0) == 0) {
      files.push_back((std::filesystem::path(directory) / name).string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

void add_file(Logs& logs, const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) == 0 && !logs.seen.emplace(info.st_dev, info.st_ino).second) return;
  std::string text;
  const std::string damage = read_file(path, text);
  if (!damage.empty()) {
    print_error(path + ": " + damage + (text.empty() ? "" : "; read up to there"));
  }
  if (text.empty()) return;
  if (add_log_part(logs.parts, path, std::move(text)) == LogKind::kNone) {
    print_error(path + ": not a log of kovotcp");
  }
}

Logs find_logs(const std::vector<std::string>& paths) {
  Logs logs;
  for (const std::string& path : paths) {
    struct stat info {};
    const bool is_directory = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    for (const std::string& file : is_directory ? files_of(path) : std::vector{path}) {
      add_file(logs, file);
    }
  }
  return logs;
}

std::size_t terminal_width() {
  struct winsize size {};
  if (isatty(STDOUT_FILENO) == 0 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) {
    return kUsualWidth;
  }
  return size.ws_col == 0 ? kUsualWidth : std::max<std::size_t>(size.ws_col, kMinWidth);
}

void print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

/// Prints the blocks that pass; returns how many do.
std::size_t print_blocks(const Timeline& timeline, const LogFilter& filter, bool json,
                         std::size_t width) {
  std::size_t count = 0;
  std::string day;
  for (const TimelineBlock& block : timeline.blocks) {
    if (!passes(filter, block)) continue;
    print(json ? (count > 0 ? "," : "") + block_json(block) : block_text(block, width, day));
    ++count;
  }
  return count;
}

}  // namespace

LogResult show_logs(const LogOptions& options) {
  Logs logs = find_logs(options.paths);
  if (logs.parts.empty()) {
    print_error("no log of kovotcp found");
    return LogResult::kCannotRead;
  }
  EventLog events;
  MainLog main_log;
  read_log_parts(logs.parts, events, main_log);
  LogFilter filter{options.trigger, {}, options.only_failed};
  const LogTime last = events.records.empty() ? 0 : events.records.back().time;
  if (!options.since.empty() && !parse_moment(options.since, last, filter.since.emplace())) {
    print_error("--since: \"" + options.since +
                "\" is not a valid time: YYYY-MM-DD, HH:MM[:SS] or both");
    return LogResult::kCannotRead;
  }
  const std::string_view definitions = options.definitions;
  const Timeline timeline =
      make_timeline(events, main_log, options.has_definitions ? &definitions : nullptr);
  const std::size_t width = terminal_width();
  if (options.json) print("{\"blocks\":[");
  const std::size_t count = print_blocks(timeline, filter, options.json, width);
  if (options.json) {
    print("]," + summary_json(timeline) + "}\n");
  } else {
    const std::string missing = no_trigger_text(timeline, options.trigger);
    for (const std::string_view line : split_lines(missing)) {
      print(wrapped(line, width, "  ", 0) + "\n");
    }
    print((count > 0 || !missing.empty() ? "\n" : "") +
          summary_text(timeline, width, options.has_definitions));
  }
  return options.only_failed && count > 0 ? LogResult::kFailed : LogResult::kFine;
}

}  // namespace kovo::check
