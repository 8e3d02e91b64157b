#include "tests/runner/script.h"

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <sstream>

namespace kovo::device {

namespace {

std::string step_lines(std::string words) {
  const std::string event = take_word(words);
  const std::string index = take_word(words);
  std::string lines;
  for (const char* field : {"Protocol", "IP", "Port", "Delay"}) {
    const std::string value = take_word(words);
    if (value != "-") lines += event + field + index + "=" + unescape(value) + "\n";
  }
  lines += event + "Data" + index + "=";
  for (const char c : unescape(words)) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(c));
    lines += digits;
  }
  return lines + "\n";
}

}  // namespace

std::vector<ScriptLine> read_script(const std::string& text) {
  std::vector<ScriptLine> script;
  std::istringstream stream(text);
  int number = 0;
  for (std::string source; std::getline(stream, source);) {
    ++number;
    const std::size_t indent = source.find_first_not_of(' ');
    std::string rest = indent == std::string::npos ? "" : source.substr(indent);
    if (!script.empty() && (rest[0] == '|' || rest[0] == '+')) {
      const bool step = take_word(rest) == "+";
      script.back().more += step ? step_lines(rest) : unescape_line(rest);
      script.back().source += source + "\n";
      continue;
    }
    ScriptLine line;
    line.number = number;
    line.source = source + "\n";
    line.expected = indent != std::string::npos && indent > 0;
    line.optional = rest[0] == '?';
    line.floating = rest[0] == '~' || line.optional;
    if (rest[0] != '#') line.verb = take_word(rest).substr(line.floating ? 1 : 0);
    line.rest = rest;
    script.push_back(line);
  }
  return script;
}

std::string take_word(std::string& text) {
  const std::size_t end = text.find(' ');
  std::string word = text.substr(0, end);
  text.erase(0, end == std::string::npos ? end : end + 1);
  return word;
}

std::string unescape(std::string_view text) {
  static const std::regex run("^<(.)\\*(\\d+)>");
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::match_results<std::string_view::const_iterator> found;
    const char next = i + 1 < text.size() ? text[i + 1] : '\0';
    if (text[i] == '<' &&
        std::regex_search(text.begin() + static_cast<long>(i), text.end(), found, run)) {
      plain += std::string(std::stoul(found[2]), *found[1].first);
      i += static_cast<std::size_t>(found.length()) - 1;
    } else if (text[i] == '\\' && next == 'x') {
      plain += static_cast<char>(std::stoi(std::string(text.substr(i + 2, 2)), nullptr, 16));
      i += 3;
    } else if (text[i] == '\\' && next != '\0') {
      plain += next == 'n' ? '\n' : next == 'r' ? '\r' : next == 't' ? '\t' : next;
      ++i;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

std::string escape(std::string_view text) {
  constexpr std::size_t kLongRun = 32;
  std::string escaped;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const std::size_t run = std::min(text.find_first_not_of(c, i), text.size()) - i;
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
    if (c > ' ' && c != '\\' && run >= kLongRun) {
      escaped += std::string("<") + c + "*" + std::to_string(run) + ">";
      i += run - 1;
    } else if (c == '\\' || c == '\n' || c == '\r' || c == '\t') {
      escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\t";
    } else if ((c >= 0 && c < ' ') || c == '\x7F' || (c == ' ' && i + 1 == text.size())) {
      escaped += code;
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string unescape_line(const std::string& line) {
  const std::size_t text = line.find_last_not_of('\\') + 1;
  const bool open_end = (line.size() - text) % 2 == 1;
  return open_end ? unescape(line.substr(0, line.size() - 1)) : unescape(line) + "\n";
}

}  // namespace kovo::device
