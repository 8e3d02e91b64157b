// What the simulated device shows: one line for each happening, no wider than the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "device/device.h"

namespace kovo::device {

/// Who speaks in a line; each has a colour of its own.
enum class Tone { kTold, kLeft, kLog, kNote, kAlarm };

struct Line {
  Clock::time_point at;
  Tone tone;
  std::string label;
  std::string text;  // printable
};

struct Screen {
  Clock::time_point start = Clock::now();
  std::size_t width = 80;
  bool coloured = false;
  bool cut_something = false;  // and has said what the mark of it means
};

/// The width of the terminal, of the variable COLUMNS or 80. Colours on a terminal only, and not
/// when the variable NO_COLOR says something.
Screen open_screen();

/// Control characters as \n, \r, \t or \x1B: a text on one line.
std::string printable(const std::string& bytes);

/// Prints "seconds since the start, label, text"; a text that is too long ends in a mark that says
/// how many characters were cut.
void show_line(Screen& screen, const Line& line);

/// Prints the lines in the order of their times; those of one time as they come.
void show_lines(Screen& screen, const std::vector<Line>& lines);

/// Prints a note without a time, cut likewise.
void show_note(Screen& screen, const std::string& text);

}  // namespace kovo::device
