#include "check/log_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "check/log_report.h"
#include "check/log_words.h"
#include "check/source.h"
#include "check/words.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kPieceSize = std::size_t{64} * 1024;
constexpr std::size_t kMaxMainLog = std::size_t{64} << 20;  // of a larger file, the end is read
constexpr std::size_t kLookahead = 8;                       // records that add_record looks at
constexpr std::int64_t kMostParts = 1'000'000;              // larger suffixes are dates

struct LogFile {
  std::string path;
  std::int64_t age = 0;  // 0 for the current file, larger for older ones
};

void print_error(const std::string& text) {
  std::fprintf(stderr, "kovocheck: %s\n", escaped(text).c_str());
}

using GzFile = std::unique_ptr<gzFile_s, int (*)(gzFile)>;

/// Reads a file piece by piece to its end, to where it is damaged, or until `on_piece` returns
/// false. `is_plain`: only the end of a compressed file shows whether it is complete. Returns what
/// is wrong with the file, "" if nothing.
template <typename OnPiece>
std::string read_pieces(const std::string& path, OnPiece on_piece) {
  const GzFile file(gzopen(path.c_str(), "rb"), gzclose);
  if (file == nullptr) return std::strerror(errno);
  std::string piece(kPieceSize, '\0');
  int size = 0;
  while ((size = gzread(file.get(), piece.data(), static_cast<unsigned>(piece.size()))) > 0) {
    const bool is_plain = gzdirect(file.get()) != 0;
    if (!on_piece({piece.data(), static_cast<std::size_t>(size)}, is_plain)) break;
  }
  int error = Z_OK;
  const char* text = gzerror(file.get(), &error);
  if (error == Z_OK || error == Z_STREAM_END) return "";
  return error == Z_ERRNO ? std::strerror(errno) : text;
}

/// Returns the age by the name that rotation gives: "kovo.log.1", "kovoevent.log.2.gz" or
/// "kovoevent.log-20261124".
std::int64_t age_of(const std::string& path) {
  std::string_view name(path);
  name = name.substr(name.rfind('/') + 1);
  drop(name, ".gz");
  const std::size_t log = name.find(".log");
  if (log == std::string_view::npos || log + 5 >= name.size()) return 0;
  const std::string_view suffix = name.substr(log + 5);
  if (!is_digits(suffix) || suffix.size() > 12) return 0;
  const std::int64_t number = std::stoll(std::string(suffix));
  return name[log + 4] == '-' ? 1'000'000'000'000 - number : number;
}

bool is_log_name(std::string_view name) {
  return name.substr(0, 13) == "kovoevent.log" || name.substr(0, 8) == "kovo.log";
}

std::vector<std::string> files_of(const std::string& directory) {
  std::vector<std::string> files;
  const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir(directory.c_str()), closedir);
  while (const dirent* entry = list == nullptr ? nullptr : readdir(list.get())) {
    if (is_log_name(entry->d_name)) files.push_back(directory + "/" + entry->d_name);
  }
  std::sort(files.begin(), files.end());
  return files;
}

struct Logs {
  std::vector<LogFile> event_logs;  // oldest first
  std::vector<LogFile> main_logs;   // oldest first
  std::uint64_t skipped = 0;
};

void add_file(Logs& logs, const std::string& path) {
  std::string beginning;
  const std::string damage = read_pieces(path, [&](std::string_view piece, bool is_plain) {
    if (beginning.empty()) beginning = piece;
    return !is_plain;
  });
  if (!damage.empty())
    print_error(path + ": " + damage + (beginning.empty() ? "" : "; read up to there"));
  const LogKind kind = kind_of_log(beginning);
  if (kind == LogKind::kEmpty && damage.empty()) return;
  if (kind == LogKind::kNone || kind == LogKind::kEmpty) {
    if (damage.empty()) print_error(path + ": not a log of kovotcp");
    ++logs.skipped;
    return;
  }
  (kind == LogKind::kEventLog ? logs.event_logs : logs.main_logs).push_back({path, age_of(path)});
}

Logs find_logs(const std::vector<std::string>& paths) {
  Logs logs;
  for (const std::string& path : paths) {
    struct stat info {};
    const bool is_directory = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    const std::vector<std::string> files = is_directory ? files_of(path) : std::vector{path};
    for (const std::string& file : files) add_file(logs, file);
  }
  for (std::vector<LogFile>* files : {&logs.event_logs, &logs.main_logs}) {
    std::stable_sort(files->begin(), files->end(),
                     [](const LogFile& a, const LogFile& b) { return a.age > b.age; });
  }
  return logs;
}

/// Reads all parts of the event log. `add` removes the first record, and may look at kLookahead
/// records; `on_gap` is called where a part is missing.
template <typename Add, typename OnGap>
EventLogReader read_event_logs(const Logs& logs, Add add, OnGap on_gap) {
  EventLogReader reader;
  std::deque<EventRecord> records;
  std::optional<std::int64_t> last_age;
  const auto add_records = [&](std::size_t kept) {
    while (records.size() > kept) add(records);
  };
  for (const LogFile& file : logs.event_logs) {
    if (last_age && *last_age < kMostParts && *last_age - file.age != 1) {
      add_records(0);
      on_gap();
    }
    last_age = file.age;
    read_pieces(file.path, [&](std::string_view piece, bool) {
      read_event_log(reader, piece, records);
      add_records(kLookahead);
      return true;
    });
    end_event_log(reader, records);
  }
  add_records(0);
  return reader;
}

void read_main_logs(const Logs& logs, MainLog& log) {
  for (const LogFile& file : logs.main_logs) {
    std::string text;
    read_pieces(file.path, [&](std::string_view piece, bool) {
      text += piece;
      if (text.size() < 2 * kMaxMainLog) return true;
      ++log.skipped;
      text.erase(0, text.size() - kMaxMainLog);
      return true;
    });
    read_main_log(text, log);
  }
}

struct Report {
  LogFilter filter;
  bool json = false;
  bool has_blocks = false;
  bool has_failed = false;
  std::string day;  // of the last block
};

void show_block(Report& report, const TimelineBlock& block) {
  if (!passes(report.filter, block)) return;
  std::string text = report.json ? block_json(block) : block_text(block, report.day);
  if (report.json) text = (report.has_blocks ? "," : "") + text;
  report.has_blocks = true;
  report.has_failed = report.has_failed || block.has_failed;
  std::fwrite(text.data(), 1, text.size(), stdout);
}

bool read_moment(const std::string& text, const char* option, LogTime last,
                 std::optional<LogTime>& moment) {
  if (text.empty()) return true;
  LogTime time = 0;
  if (!parse_moment(text, last, time)) {
    print_error(std::string(option) + ": \"" + text +
                "\" is not a valid time: YYYY-MM-DD, HH:MM or both");
    return false;
  }
  moment = time;
  return true;
}

/// Indexes the event log; `embedded` are the positions of records that are part of the one before.
LogIndex index_logs(const Logs& logs, const std::vector<std::uint64_t>& embedded) {
  LogIndex index;
  const auto add = [&](std::deque<EventRecord>& records) {
    EventRecord record = std::move(records.front());
    records.pop_front();
    std::size_t count = 0;
    while (!records.empty() &&
           std::binary_search(embedded.begin(), embedded.end(), index.records + count + 1)) {
      record.text += "\n" + logged_line(records.front());
      records.pop_front();
      ++count;
    }
    index_record(index, record, count);
  };
  read_event_logs(logs, add, [&] { index_gap(index); });
  return index;
}

/// Reads the event log again and shows its blocks.
EventLogReader run_timeline(const Logs& logs, Timeline& timeline) {
  begin_timeline(timeline);
  const auto add = [&](std::deque<EventRecord>& records) {
    for (std::size_t count = add_record(timeline, records); count > 0; --count) {
      records.pop_front();
    }
  };
  EventLogReader reader = read_event_logs(logs, add, [&] { add_gap(timeline); });
  end_timeline(timeline);
  return reader;
}

Timeline make_timeline(LogDefinitions* definitions, const LogIndex& index, const MainLog& log) {
  Timeline timeline;
  timeline.definitions = definitions;
  timeline.index = &index;
  timeline.main_log = place_records(index, log);
  return timeline;
}

/// Indexes the event log again if lines with times out of order turn out to be part of payloads.
void correct_index(const Logs& logs, LogDefinitions* definitions, const MainLog& log,
                   LogIndex& index) {
  if (index.steps_back.empty()) return;
  Timeline trial = make_timeline(definitions, index, log);
  trial.sink = [](const TimelineBlock&) {};
  run_timeline(logs, trial);
  if (!trial.embedded.empty()) index = index_logs(logs, trial.embedded);
}

}  // namespace

LogResult show_logs(const LogOptions& options) {
  const Logs logs = find_logs(options.paths);
  if (logs.event_logs.empty() && logs.main_logs.empty()) {
    print_error("no log of kovotcp found");
    return LogResult::kCannotRead;
  }
  MainLog main_log;
  read_main_logs(logs, main_log);
  const Source source = read_source(options.definitions);
  LogDefinitions all;
  make_log_definitions(daemon_entries(source), all);
  LogDefinitions* const definitions = options.has_definitions ? &all : nullptr;
  LogIndex index = index_logs(logs, {});
  correct_index(logs, definitions, main_log, index);
  Report report;
  report.json = options.json;
  report.filter = {options.event, options.trigger, {}, {}, options.only_failed};
  if (!read_moment(options.since, "--since", index.last, report.filter.since) ||
      !read_moment(options.until, "--until", index.last, report.filter.until)) {
    return LogResult::kCannotRead;
  }
  Timeline timeline = make_timeline(definitions, index, main_log);
  timeline.sink = [&](const TimelineBlock& block) { show_block(report, block); };
  if (options.json) std::fputs("{\"blocks\":[", stdout);
  const EventLogReader reader = run_timeline(logs, timeline);
  LogCounts counts;
  counts.event_records = timeline.record - timeline.embedded.size();
  counts.main_records = main_log.read;
  counts.skipped = reader.skipped + main_log.skipped;
  counts.unknown = timeline.unknown_records;
  counts.embedded = timeline.embedded.size();
  counts.files_skipped = logs.skipped;
  counts.is_renewed = timeline.renewed_until > 0;
  if (timeline.main_log.first) counts.main_since = timeline.main_log.first->time;
  if (options.json) {
    std::printf("],%s}\n", counts_json(counts).c_str());
  } else {
    std::printf("%s%s", report.has_blocks ? "\n" : "", counts_text(counts).c_str());
  }
  return options.only_failed && report.has_failed ? LogResult::kFailed : LogResult::kFine;
}

}  // namespace kovo::check
