#include "tests/runner/script.h"

#include <algorithm>
#include <cstdio>
#include <regex>
#include <sstream>

namespace kovo::device {

namespace {

std::string hex(char c) {
  char digits[3];
  std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(c));
  return digits;
}

std::string step_lines(std::string words) {
  const std::string event = take_word(words);
  const std::string index = take_word(words);
  std::string lines;
  for (const char* field : {"Protocol", "IP", "Port", "Delay"}) {
    const std::string value = unescape(take_word(words));
    if (value != "-") lines.append(event).append(field).append(index + "=" + value + "\n");
  }
  lines.append(event).append("Data").append(index + "=");
  for (const char c : unescape(words)) lines += hex(c);
  return lines + "\n";
}

ScriptLine read_line(int number, const std::string& source) {
  ScriptLine line;
  line.number = number;
  line.source = source + "\n";
  const std::size_t indent = source.find_first_not_of(' ');
  if (indent == std::string::npos || source[indent] == '#') return line;
  line.expected = indent > 0;
  line.optional = source[indent] == '?';
  line.floating = source[indent] == '~' || line.optional;
  line.rest = source.substr(indent + (line.floating ? 1 : 0));
  line.verb = take_word(line.rest);
  line.text = line.rest;
  line.name = take_word(line.text);
  line.text = unescape(line.text);
  return line;
}

}  // namespace

std::vector<ScriptLine> read_script(const std::string& text) {
  std::vector<ScriptLine> script;
  std::istringstream stream(text);
  int number = 0;
  for (std::string source; std::getline(stream, source);) {
    ++number;
    std::string rest = source.substr(std::min(source.find_first_not_of(' '), source.size()));
    if (rest[0] != '|' && rest[0] != '+') {
      script.push_back(read_line(number, source));
      continue;
    }
    ScriptLine& above = script.back();
    const std::string more = take_word(rest) == "+" ? step_lines(rest) : unescape_line(rest);
    above.more += more;
    above.text += more;
    above.source += source + "\n";
  }
  return script;
}

std::string take_word(std::string& text) {
  const std::size_t end = text.find(' ');
  std::string word = text.substr(0, end);
  text.erase(0, end == std::string::npos ? end : end + 1);
  return word;
}

std::vector<std::string> split_texts(const std::string& text) {
  std::vector<std::string> texts;
  std::size_t at = 0;
  for (std::size_t end = 0; end != std::string::npos; at = end + 4) {
    end = text.find(" ;; ", at);
    texts.push_back(text.substr(at, end == std::string::npos ? end : end - at));
  }
  return texts;
}

std::string unescape(const std::string& text) {
  static const std::regex coded("<(.)\\*(\\d+)>|\\\\x(..)|\\\\(.)");
  std::string plain;
  auto rest = text.begin();
  for (std::sregex_iterator i(text.begin(), text.end(), coded), end; i != end; ++i) {
    const std::smatch& found = *i;
    plain.append(rest, found[0].first);
    rest = found[0].second;
    if (found[1].matched) {
      plain.append(std::stoul(found[2]), *found[1].first);
    } else if (found[3].matched) {
      plain += static_cast<char>(std::stoi(found[3], nullptr, 16));
    } else {
      const char c = *found[4].first;
      plain += c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
    }
  }
  return plain.append(rest, text.end());
}

std::string unescape_line(const std::string& text) {
  const std::size_t backslashes = text.size() - (text.find_last_not_of('\\') + 1);
  return backslashes % 2 == 0 ? unescape(text) + "\n" : unescape(text.substr(0, text.size() - 1));
}

std::string escape(const std::string& text) {
  constexpr std::size_t kLongRun = 32;
  std::string escaped;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const std::size_t run = std::min(text.find_first_not_of(c, i), text.size()) - i;
    if (c > ' ' && run >= kLongRun) {
      escaped += std::string("<") + c + "*" + std::to_string(run) + ">";
      i += run - 1;
    } else if (c == '\\' || c == '\n' || c == '\r' || c == '\t') {
      escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\t";
    } else {
      const bool seen = c > ' ' || c < '\0' || (c == ' ' && i + 1 < text.size());
      escaped += seen && c != '\x7F' ? std::string(1, c) : "\\x" + hex(c);
    }
  }
  return escaped;
}

}  // namespace kovo::device
