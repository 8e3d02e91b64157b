#include "tests/runner/transcript.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <regex>

namespace kovo::device {

namespace {

using Found = std::smatch;

std::string replace_each(const std::string& text, const std::regex& form,
                         const std::function<std::string(const Found&)>& replacement) {
  std::string result;
  auto rest = text.begin();
  for (std::sregex_iterator i(text.begin(), text.end(), form), end; i != end; ++i) {
    result.append(rest, (*i)[0].first).append(replacement(*i));
    rest = (*i)[0].second;
  }
  return result.append(rest, text.end());
}

/// A stamp of local time with milliseconds, or without them; both exact, the first one begins a
/// record and has two blanks behind it.
std::string plain_time(const Found& found, const Moment& moment) {
  std::tm fields{};
  strptime(found[1].str().c_str(), "%Y-%m-%d %H:%M:%S", &fields);
  fields.tm_isdst = -1;
  const std::int64_t at_ms = static_cast<std::int64_t>(mktime(&fields)) * 1000;
  if (found[3].matched) {
    const std::int64_t exact_ms = at_ms + std::stoi(found[3]);
    return exact_ms >= moment.from_ms && exact_ms <= moment.to_ms ? "@ " : found.str();
  }
  return at_ms + 999 >= moment.from_ms && at_ms <= moment.to_ms ? "NOW" : found.str();
}

}  // namespace

std::string normalise(const std::string& text, const Moment& moment) {
  static const std::regex line("\\[(\\w+)(?::|(;))\\d+\\]");
  static const std::regex time("(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)(\\.(\\d{3})  )?");
  static const std::regex pid("(kovotcp\\.pid=|run echo )(\\d+)");
  static const std::regex build("Build: \\w{3} [ \\d]\\d \\d{4} \\d\\d:\\d\\d:\\d\\d \\+");
  static const std::regex uptime("(uptime=|skip \\w+ \\.\\.\\.)(\\d+)");
  static const std::regex wait("network\\.\\.\\.(\\d+)");
  static const std::regex since("now-last=[0-4] sec");
  static const std::regex queue("now=(\\d+) ms, t_exec=(\\d+) ms");
  std::string plain = std::regex_replace(text, line, "[$1$2]");
  plain = replace_each(plain, time, [&](const Found& found) { return plain_time(found, moment); });
  plain = replace_each(plain, pid, [&](const Found& found) {
    return found[2] == std::to_string(moment.pid) ? found[1].str() + "PID" : found.str();
  });
  plain = std::regex_replace(plain, build, "Build: DATE +");
  plain = replace_each(plain, uptime, [&](const Found& found) {
    const long seconds = std::stol(found[2]);
    const bool fits =
        seconds >= moment.uptime_s && seconds <= moment.uptime_s + moment.age_ms / 1000 + 2;
    return fits ? found[1].str() + "UP" : found.str();
  });
  plain = replace_each(plain, wait, [&](const Found& found) {
    const bool fits = std::stol(found[1]) <= moment.age_ms / 1000 + 1;
    return fits ? "network...S" : found.str();
  });
  plain = std::regex_replace(plain, since, "now-last=S sec");
  return replace_each(plain, queue, [&](const Found& found) {
    const long now = std::stol(found[1]);
    const bool fits = std::stol(found[2]) <= now && now <= moment.age_ms;
    return fits ? "now=N ms, t_exec=N ms" : found.str();
  });
}

bool matches(const std::string& text, const std::vector<Expected>& expected,
             std::vector<Expected>& missing, std::string& extra) {
  missing = expected;
  std::size_t at = 0;
  const auto comes_next = [&](const Expected& one) {
    return text.compare(at, one.text.size(), one.text) == 0;
  };
  for (;;) {
    auto next = std::find_if(missing.begin(), missing.end(),
                             [](const Expected& one) { return !one.floating; });
    if (next == missing.end() || !comes_next(*next)) {
      next = std::find_if(missing.begin(), missing.end(),
                          [&](const Expected& one) { return one.floating && comes_next(one); });
    }
    if (next == missing.end()) break;
    at += next->text.size();
    missing.erase(next);
  }
  extra = text.substr(at);
  missing.erase(std::remove_if(missing.begin(), missing.end(),
                               [](const Expected& one) { return one.optional; }),
                missing.end());
  return missing.empty() && extra.empty();
}

std::vector<std::string> pieces_of(const std::string& text) {
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < text.size(); at += pieces.back().size()) {
    const std::size_t end =
        text.find_first_of(text.find(kEnd) == std::string::npos ? '\n' : kEnd, at);
    pieces.push_back(text.substr(at, end == std::string::npos ? end : end - at + 1));
  }
  return pieces;
}

}  // namespace kovo::device
