// A scenario as it is written: its lines, and the texts in them.
#pragma once

#include <functional>
#include <regex>
#include <string>
#include <vector>

namespace kovo::device {

/// A line "VERB REST", often "VERB NAME TEXT", with the lines "| TEXT" and "+ STEP" below it.
struct ScriptLine {
  int number = 0;
  std::string mark;               // "~" or "?" before the verb
  std::string verb;               // empty for comments and empty lines
  std::string rest;               // as written
  std::string name;               // the first word of the rest
  std::string text;               // what follows it, unescaped
  std::string source;             // all of it as written
  std::vector<ScriptLine> block;  // the indented lines below it
};

using Block = std::vector<ScriptLine>;

/// The lines at the margin, and an empty one before them.
Block read_script(const std::string& text);

/// The texts of one kind that stand on one line, parted by " ;; ".
std::vector<std::string> split_texts(const std::string& text);

/// Replaces \n \r \t \\ \xHH, and <C*N> by N times C; a backslash takes a line's end away.
std::string unescape(const std::string& text);

/// The other way round, for the inside of a line and for a record, whose end is not written.
std::string escape(const std::string& text);
std::string escape_record(const std::string& record);

/// Replaces what has a form by what is made of it.
std::string replace_each(const std::string& text, const std::regex& form,
                         const std::function<std::string(const std::smatch&)>& made_of);

}  // namespace kovo::device
