#include "device/simulate/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "frame/text.h"

namespace kovo::device {
namespace {

constexpr std::size_t kNarrowest = 40;
constexpr int kLabelWidth = 21;

const char* variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::size_t width_of_output() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return std::max<std::size_t>(size.ws_col, kNarrowest);
  }
  const int columns = to_int32(variable("COLUMNS"));
  return columns > 0 ? std::max(static_cast<std::size_t>(columns), kNarrowest) : 80;
}

const char* colour_of(Tone tone) {
  switch (tone) {
    case Tone::kTold:
      return "\033[1;36m";
    case Tone::kLeft:
      return "\033[1;32m";
    case Tone::kLog:
      return "\033[2m";
    case Tone::kNote:
      return "\033[33m";
    case Tone::kAlarm:
      return "\033[1;31m";
  }
  return "";
}

std::string cut_mark(std::size_t missing) {
  return "~" + std::to_string(missing);
}

/// The text in the width of the screen, the mark included.
std::string fitted(const Screen& screen, const std::string& text) {
  if (text.size() <= screen.width) return text;
  std::size_t kept = screen.width;
  while (kept + cut_mark(text.size() - kept).size() > screen.width) --kept;
  return text.substr(0, kept) + cut_mark(text.size() - kept);
}

void print(Screen& screen, Tone tone, const std::string& text) {
  const std::string line = fitted(screen, text);
  std::printf("%s%s%s\n", screen.coloured ? colour_of(tone) : "", line.c_str(),
              screen.coloured ? "\033[0m" : "");
  if (line.size() != text.size() && !screen.cut_something) {
    screen.cut_something = true;
    print(screen, Tone::kNote, "(~ and a number: so much was cut; a wider terminal shows more)");
  }
  std::fflush(stdout);
}

}  // namespace

Screen open_screen() {
  Screen screen;
  screen.width = width_of_output();
  screen.coloured = isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR")[0] == '\0' &&
                    std::string(variable("TERM")) != "dumb";
  return screen;
}

std::string printable(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    char code[5];
    if (c == '\n') {
      text += "\\n";
    } else if (c == '\r') {
      text += "\\r";
    } else if (c == '\t') {
      text += "\\t";
    } else if (c >= ' ' && c <= '~') {
      text += c;
    } else {
      std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned char>(c));
      text += code;
    }
  }
  return text;
}

void show_line(Screen& screen, const Line& line) {
  const std::chrono::duration<double> passed = line.at - screen.start;
  char head[128];
  std::snprintf(head, sizeof head, "%8.3f  %-*s ", passed.count(), kLabelWidth, line.label.c_str());
  print(screen, line.tone, head + line.text);
}

void show_lines(Screen& screen, const std::vector<Line>& lines) {
  std::multimap<Clock::time_point, const Line*> by_time;
  for (const Line& line : lines) by_time.emplace(line.at, &line);
  for (const auto& [at, line] : by_time) show_line(screen, *line);
}

void show_note(Screen& screen, const std::string& text) {
  print(screen, Tone::kNote, text);
}

}  // namespace kovo::device
