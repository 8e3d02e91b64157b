#include "tests/runner/transcript.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <regex>

#include "tests/runner/script.h"

namespace kovo::device {

namespace {

/// Replaces what has a form and fits the moment.
std::string replace_fitting(const std::string& text, const std::regex& form,
                            const char* replacement,
                            const std::function<bool(const std::smatch&)>& fits) {
  std::string result;
  auto rest = text.begin();
  for (std::sregex_iterator i(text.begin(), text.end(), form), end; i != end; ++i) {
    const std::string found = (*i)[0];
    result.append(rest, (*i)[0].first).append(fits(*i) ? i->format(replacement) : found);
    rest = (*i)[0].second;
  }
  return result.append(rest, text.end());
}

std::int64_t local_time_ms(const std::string& text) {
  std::tm fields{};
  strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &fields);
  fields.tm_isdst = -1;
  return static_cast<std::int64_t>(mktime(&fields)) * 1000;
}

}  // namespace

std::string normalise(const std::string& text, const Moment& moment) {
  using Found = const std::smatch&;
  static const std::regex line("\\[(\\w+)(?::|(;))\\d+\\]");
  static const std::regex stamp("(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)\\.(\\d{3})  ");
  static const std::regex time("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d");
  static const std::regex pid("(kovotcp\\.pid=|run echo )(\\d+)");
  static const std::regex build("Build: \\w{3} [ \\d]\\d \\d{4} \\d\\d:\\d\\d:\\d\\d \\+");
  static const std::regex uptime("(uptime=|skip \\w+ \\.\\.\\.)(\\d+)");
  static const std::regex wait("network\\.\\.\\.(\\d+)");
  static const std::regex pause("now-last=[0-4] sec");
  static const std::regex queue("now=(\\d+) ms, t_exec=(\\d+) ms");
  const std::int64_t age_s = moment.age_ms / 1000;
  const std::int64_t least_s = age_s - (moment.to_ms - moment.from_ms) / 1000 - 3;
  std::string plain = std::regex_replace(text, line, "[$1$2]");
  plain = std::regex_replace(plain, build, "Build: DATE +");
  plain = std::regex_replace(plain, pause, "now-last=S sec");
  plain = replace_fitting(plain, stamp, "@ ", [&](Found found) {
    const std::int64_t at_ms = local_time_ms(found[1]) + std::stoi(found[2]);
    return at_ms >= moment.from_ms && at_ms <= moment.to_ms;
  });
  plain = replace_fitting(plain, time, "NOW", [&](Found found) {
    const std::int64_t at_ms = local_time_ms(found[0]);
    return at_ms + 999 >= moment.from_ms && at_ms <= moment.to_ms;
  });
  plain = replace_fitting(plain, pid, "$1PID",
                          [&](Found found) { return std::stoi(found[2]) == moment.pid; });
  plain = replace_fitting(plain, uptime, "$1UP", [&](Found found) {
    const long past = std::stol(found[2]) - moment.uptime_s;
    return past >= std::max<std::int64_t>(least_s, 0) && past <= age_s + 2;
  });
  plain = replace_fitting(plain, wait, "network...S",
                          [&](Found found) { return std::stol(found[1]) <= age_s + 1; });
  return replace_fitting(plain, queue, "now=N ms, t_exec=N ms", [&](Found found) {
    const long now = std::stol(found[1]);
    return std::stol(found[2]) <= now && now <= moment.age_ms;
  });
}

std::string difference(const std::string& text, std::vector<Expected> expected, bool& wrong) {
  std::size_t at = 0;
  const auto comes_next = [&](const Expected& one) {
    return text.compare(at, one.text.size(), one.text) == 0;
  };
  for (;;) {
    auto next = std::find_if(expected.begin(), expected.end(),
                             [](const Expected& one) { return !one.floating; });
    if (next == expected.end() || !comes_next(*next)) {
      next = std::find_if(expected.begin(), expected.end(),
                          [&](const Expected& one) { return one.floating && comes_next(one); });
    }
    if (next == expected.end()) break;
    at += next->text.size();
    expected.erase(next);
  }
  wrong |= at < text.size();
  std::string lines;
  for (const Expected& one : expected) {
    if (!one.optional) lines += "  - " + escape(one.text) + "\n";
  }
  for (const std::string& piece : pieces_of(text.substr(at)))
    lines += "  + " + escape(piece) + "\n";
  return lines;
}

std::vector<std::string> pieces_of(const std::string& text) {
  const char end = text.find(kEnd) == std::string::npos ? '\n' : kEnd;
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < text.size(); at += pieces.back().size()) {
    pieces.push_back(text.substr(at, std::min(text.find(end, at), text.size() - 1) - at + 1));
  }
  return pieces;
}

}  // namespace kovo::device
