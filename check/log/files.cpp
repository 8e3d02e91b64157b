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

#include "check/log/report.h"
#include "check/words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kPieceSize = std::size_t{1} << 20;
constexpr std::int64_t kMostParts = 1'000'000;  // larger suffixes are dates
constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kMinWidth = 40;

struct LogFile {
  std::string text;
  std::int64_t age = 0;  // 0 for the current file, larger for older ones
};

struct Logs {
  std::vector<LogFile> event_logs;  // oldest first
  std::vector<LogFile> main_logs;   // oldest first
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
  return error == Z_ERRNO ? std::strerror(errno) : reason;
}

/// Returns the age by the name that rotation gives: "kovo.log.1", "kovoevent.log.2.gz" or
/// "kovoevent.log-20261124".
std::int64_t age_of(std::string_view path) {
  std::string_view name = path.substr(path.rfind('/') + 1);
  if (name.size() > 3 && name.substr(name.size() - 3) == ".gz") name.remove_suffix(3);
  const std::size_t log = name.find(".log");
  if (log == std::string_view::npos || log + 5 >= name.size()) return 0;
  const std::string_view suffix = name.substr(log + 5);
  if (!is_digits(suffix) || suffix.size() > 12) return 0;
  const std::int64_t number = std::stoll(std::string(suffix));
  return name[log + 4] == '-' ? 1'000'000'000'000 - number : number;
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
  LogFile file{{}, age_of(path)};
  const std::string damage = read_file(path, file.text);
  if (!damage.empty()) {
    print_error(path + ": " + damage + (file.text.empty() ? "" : "; read up to there"));
  }
  if (file.text.empty()) return;
  const LogKind kind = kind_of_log(file.text);
  if (kind == LogKind::kNone) return print_error(path + ": not a log of kovotcp");
  (kind == LogKind::kEventLog ? logs.event_logs : logs.main_logs).push_back(std::move(file));
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
  for (std::vector<LogFile>* files : {&logs.event_logs, &logs.main_logs}) {
    std::stable_sort(files->begin(), files->end(),
                     [](const LogFile& a, const LogFile& b) { return a.age > b.age; });
  }
  return logs;
}

EventLog event_log_of(const Logs& logs) {
  EventLog log;
  const LogFile* last = nullptr;
  for (const LogFile& file : logs.event_logs) {
    const bool is_gap = last != nullptr && last->age < kMostParts && last->age - file.age > 1;
    read_event_log(file.text, is_gap, log);
    last = &file;
  }
  return log;
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
  const Logs logs = find_logs(options.paths);
  if (logs.event_logs.empty() && logs.main_logs.empty()) {
    print_error("no log of kovotcp found");
    return LogResult::kCannotRead;
  }
  const EventLog events = event_log_of(logs);
  MainLog main_log;
  for (const LogFile& file : logs.main_logs) read_main_log(file.text, main_log);
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
    const bool is_caused =
        std::any_of(timeline.blocks.begin(), timeline.blocks.end(), [&](const auto& block) {
          return options.trigger.empty() || block.trigger == options.trigger;
        });
    const std::string missing = is_caused ? "" : no_trigger_text(timeline, options.trigger);
    for (const std::string_view line : split_lines(missing)) {
      print(wrapped(std::string(line), width, "  "));
    }
    print((count > 0 || !is_caused ? "\n" : "") +
          summary_text(timeline, width, options.has_definitions));
  }
  return options.only_failed && count > 0 ? LogResult::kFailed : LogResult::kFine;
}

}  // namespace kovo::check
