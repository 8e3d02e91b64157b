// A scenario as it is written: lines with a verb each, and the texts in them.
#pragma once

#include <string>
#include <vector>

namespace kovo::device {

struct ScriptLine {
  int number = 0;
  bool expected = false;  // indented: something that must come out
  bool floating = false;  // "~" before the verb: anywhere among the lines of its channel
  bool optional = false;  // "?" before the verb: anywhere, or not at all
  std::string verb;       // empty for comments and empty lines
  std::string rest;       // what stands behind the verb
  std::string more;       // the text of the lines "| TEXT" and "+ STEP" below it
  std::string source;     // all of it as written

  // Of a line "VERB NAME TEXT".
  std::string name;
  std::string text;
};

/// Cuts a scenario into its lines. "| TEXT" adds the text and a line feed to the line above;
/// "+ EVENT INDEX PROTOCOL IP PORT DELAY PAYLOAD" adds the definition lines of a step, the payload
/// in hexadecimal, without a delay when that is "-".
std::vector<ScriptLine> read_script(const std::string& text);

/// Takes the first word of a text, and the blank behind it, off.
std::string take_word(std::string& text);

/// The texts of one kind that stand on one line, parted by " ;; ".
std::vector<std::string> split_texts(const std::string& text);

/// Replaces \n \r \t \\ \xHH, and <C*N> by N times the character C.
std::string unescape(const std::string& text);

/// The same, with a line feed at its end unless the text ends in a single backslash.
std::string unescape_line(const std::string& text);

/// The other way round, on one line; long runs of a character are written as <C*N>.
std::string escape(const std::string& text);

}  // namespace kovo::device
