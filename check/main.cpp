// kovocheck: reports what the daemon will do with a definition file, and what it did by its logs.
#include <sys/ioctl.h>
#include <unistd.h>

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "check/diff.h"
#include "check/explain.h"
#include "check/fixes.h"
#include "check/json.h"
#include "check/log/files.h"
#include "check/replace_file.h"
#include "check/report.h"
#include "check/rule_texts.h"
#include "check/rules.h"
#include "check/status_text.h"
#include "core/text.h"

namespace kovo::check {
namespace {

enum : int { kClean = 0, kHasErrors = 1, kCannotCheck = 2 };

struct CommandLine {
  std::vector<std::string> files;
  std::string explained;  // "" for all events
  bool explain = false;
  std::string status_file;
  std::string product;
  std::string format = "text";
  std::vector<std::string> disabled;
  bool strict = false;
  bool fix = false;
  bool list_rules = false;
  std::string rule;  // to explain
};

struct LogCommandLine {
  std::string definitions_file;
  std::string format = "text";
  LogOptions options;
};

int complain(const std::string& text) {
  std::fprintf(stderr, "kovocheck: %s\n", escaped(text).c_str());
  return kCannotCheck;
}

/// Reads a file or standard input up to a few bytes after `limit`; returns false with the reason.
bool read_up_to(std::size_t limit, const std::string& path, std::string& text, std::string& error) {
  const bool standard_input = path == "-";
  std::FILE* file = standard_input ? stdin : std::fopen(path.c_str(), "r");
  errno = file == nullptr ? errno : 0;
  char buffer[65536];
  std::size_t size = 0;
  while (file != nullptr && text.size() <= limit &&
         (size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    text.append(buffer, size);
  }
  if (file == nullptr || std::ferror(file) != 0) error = std::strerror(errno);
  if (file != nullptr && !standard_input) std::fclose(file);
  return error.empty();
}

bool read_definitions(const std::string& path, std::string& text, std::string& error) {
  if (!read_up_to(kMaxDefinitionBytes, path, text, error)) return false;
  if (text.size() > kMaxDefinitionBytes) error = "larger than 1 MiB: not read by the daemon";
  return error.empty();
}

bool read_status(const std::string& path, StatusVars& status) {
  std::string text;
  std::string error;
  if (read_up_to(kMaxStatusBytes, path, text, error)) error = parse_status(text, status);
  if (!error.empty()) complain(path + ": " + error);
  return error.empty();
}

void add_options(CLI::App& app, CommandLine& line) {
  app.add_option("FILE", line.files, "Definition files; - is standard input");
  app.add_option_function<std::string>(
         "--explain", [&line](const std::string& which) { line.explained = which; },
         "Show what events do: all or of a name or trigger")
      ->type_name("[EVENT]")
      ->expected(0, 1)
      ->default_str("")
      ->trigger_on_parse();
  app.add_option("--status", line.status_file, "The device's /tmp/kovo_var.txt or status answer")
      ->type_name("FILE");
  app.add_option("--product", line.product, "input-hdmi, input-usbc or output; otherwise any")
      ->type_name("PRODUCT");
  app.add_option("--format", line.format, "text, json, or diff for the fixes")->type_name("FORMAT");
  app.add_flag("--fix", line.fix, "Write the fixes to the files, check the result");
  app.add_flag("--rules", line.list_rules, "List the rules");
  app.add_option("--explain-rule", line.rule, "Explain a rule, with an example")->type_name("RULE");
  app.add_option("--disable", line.disabled, "A rule that is left out; may be given again")
      ->type_name("RULE")
      ->delimiter(',')
      ->allow_extra_args(false);
  app.add_flag("--strict", line.strict, "Warnings count as errors");
  app.set_version_flag("--version", "kovocheck " KOVO_VERSION, "Print the version and exit");
  app.get_option("--help")->description("Print this help and exit");
}

void add_log_options(CLI::App& app, LogCommandLine& line) {
  app.add_option("PATH", line.options.paths, "Logs, and directories with logs")->required();
  app.add_option("--definitions", line.definitions_file, "The definition file of the device")
      ->type_name("FILE");
  app.add_option("--trigger", line.options.trigger, "Only this trigger")->type_name("NAME");
  app.add_option("--since", line.options.since, "YYYY-MM-DD, HH:MM[:SS] or both")
      ->type_name("TIME");
  app.add_flag("--failed", line.options.only_failed, "Only what failed; then exit status 1");
  app.add_option("--format", line.format, "text or json")->type_name("FORMAT");
  app.get_option("--help")->description("Print this help and exit");
}

/// Takes the only word after --explain, without "=", as the file.
void settle_explain(const CLI::App& app, bool names_event, CommandLine& line) {
  line.explain = app.count("--explain") > 0;
  if (!line.files.empty() || names_event || line.explained.empty()) return;
  line.files.push_back(line.explained);
  line.explained.clear();
}

bool parse_rules(const CommandLine& line, CheckOptions& options) {
  for (const std::string& name : line.disabled) {
    const std::size_t rule = find_rule(name);
    if (rule == kRuleCount) {
      complain("no rule \"" + name + "\" (kovocheck --rules lists them)");
      return false;
    }
    options.disabled.set(rule);
  }
  return true;
}

bool is_format(const std::string& format, bool of_log) {
  if (format == "text" || format == "json" || (format == "diff" && !of_log)) return true;
  complain("no format \"" + format + "\": text" + (of_log ? " or json" : ", json or diff"));
  return false;
}

bool parse_options(const CommandLine& line, CheckOptions& options, StatusVars& status) {
  options.strict = line.strict;
  if (!is_format(line.format, false)) return false;
  if (line.explain && line.format != "text") {
    complain("--explain has no effect with --format=" + line.format);
    return false;
  }
  if (!line.product.empty()) {
    options.products = product_of(line.product);
    if (options.products == 0) {
      complain("no product \"" + line.product + "\": input-hdmi, input-usbc or output");
      return false;
    }
  }
  if (!line.status_file.empty()) {
    if (!read_status(line.status_file, status)) return false;
    options.status = &status;
  }
  return parse_rules(line, options);
}

bool wants_colours() {
  const char* no_color = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
}

/// Returns the columns of a terminal; kNotWrapped elsewhere: a finding is then one line for
/// programs.
std::size_t report_width() {
  winsize size{};
  if (isatty(STDOUT_FILENO) == 0) return kNotWrapped;
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

struct Outcome {
  int status = kClean;
  bool explained = false;  // an event was found
  std::string output;
  std::vector<CheckedFile> for_json;
};

/// Returns the path from the directory in which a diff is applied: the root, or the one to which
/// leading ".." lead.
std::string diff_path(const std::string& path) {
  const auto whole = std::filesystem::path(path).lexically_normal().relative_path();
  std::filesystem::path result;
  for (const auto& part : whole) {
    if (part != "..") result /= part;
  }
  return result.string();
}

/// Writes the fixes of a text to its file, or to the output; the text becomes the one to report.
/// Returns false when they cannot be written.
bool fix_text(const std::string& path, const std::string& name, const CommandLine& line,
              const CheckOptions& options, std::string& text, std::string& output) {
  FixedText fixed = apply_fixes(text, options);
  if (line.fix && fixed.text != text) {
    const std::string error = replace_file(path, fixed.text);
    if (!error.empty()) {
      complain(path + ": cannot write: " + error);
      return false;
    }
  }
  if (line.format == "diff") output += unified_diff(diff_path(name), text, fixed.text);
  if (!line.fix) return true;
  if (line.format == "text" && fixed.fixes > 0) {
    output += fmt::format("{}: {} {} applied\n", escaped(name), fixed.fixes,
                          fixed.fixes == 1 ? "fix" : "fixes");
  }
  text = std::move(fixed.text);
  return true;
}

void check_file(const std::string& path, const CommandLine& line, const CheckOptions& options,
                Outcome& outcome) {
  std::string text;
  std::string error;
  if (!read_definitions(path, text, error)) {
    outcome.status = complain(path + ": " + error);
    return;
  }
  CheckedFile checked;
  checked.name = path == "-" ? "<stdin>" : path;
  if ((line.fix || line.format == "diff") &&
      !fix_text(path, checked.name, line, options, text, outcome.output)) {
    outcome.status = kCannotCheck;
    return;
  }
  const Source source = read_source(text);
  checked.findings = check_source(source, options);
  const bool json = line.format == "json";
  if (count_of(checked.findings, Severity::kError) > 0) {
    outcome.status = std::max<int>(outcome.status, kHasErrors);
  }
  if (line.format == "diff") return;
  if (json) remove_harmful_fixes(text, source, options, checked.findings);
  if (json || line.explain)
    checked.events = explain(source, options.products, known_values(options.status));
  if (json) {
    outcome.for_json.push_back(std::move(checked));
    return;
  }
  const std::string events = explain_text(checked.events, line.explained);
  outcome.explained = outcome.explained || !events.empty();
  outcome.output += report_text(escaped(checked.name), source, checked.findings, report_width(),
                                wants_colours()) +
                    (events.empty() ? "" : "\n" + events);
}

int explain_rule(const std::string& rule) {
  const std::string section(rule_section(rule));
  if (section.empty()) {
    complain("no rule \"" + rule + "\"; the rules are:");
    std::fputs(rules_text().c_str(), stderr);
    return kCannotCheck;
  }
  std::fputs(section.c_str(), stdout);
  return kClean;
}

/// Shows a timeline of logs instead of findings.
int run_log(LogCommandLine& line) {
  if (!is_format(line.format, true)) return kCannotCheck;
  line.options.has_definitions = !line.definitions_file.empty();
  line.options.json = line.format == "json";
  std::string error;
  if (line.options.has_definitions &&
      !read_definitions(line.definitions_file, line.options.definitions, error)) {
    return complain(line.definitions_file + ": " + error);
  }
  const LogResult result = show_logs(line.options);
  if (result == LogResult::kCannotRead) return kCannotCheck;
  return result == LogResult::kFailed ? kHasErrors : kClean;
}

int run(CommandLine& line) {
  if (line.list_rules) {
    std::fputs(rules_text().c_str(), stdout);
    return kClean;
  }
  if (!line.rule.empty()) return explain_rule(line.rule);
  if (line.files.empty()) return complain("no file given (see kovocheck --help)");
  if (line.fix && std::count(line.files.begin(), line.files.end(), "-") > 0) {
    return complain("--fix cannot write standard input: use --format=diff");
  }
  CheckOptions options;
  StatusVars status;
  if (!parse_options(line, options, status)) return kCannotCheck;
  Outcome outcome;
  for (const std::string& path : line.files) check_file(path, line, options, outcome);
  if (!line.explained.empty() && !outcome.explained && outcome.status != kCannotCheck) {
    return complain("no event or trigger \"" + line.explained + "\"");
  }
  if (!outcome.for_json.empty()) outcome.output += json_text(outcome.for_json) + "\n";
  std::fwrite(outcome.output.data(), 1, outcome.output.size(), stdout);
  return outcome.status;
}

std::ptrdiff_t given_options(const CLI::App& app) {
  const std::vector<const CLI::Option*> options = app.get_options();
  return std::count_if(options.begin(), options.end(),
                       [](const CLI::Option* option) { return option->count() > 0; });
}

/// Returns the arguments with the command "check" in front, unless they name a command or ask for
/// the help of all.
std::vector<const char*> with_command(int argc, char** argv) {
  std::vector<const char*> arguments(argv, argv + argc);
  const std::string_view first = argc > 1 ? argv[1] : "";
  const bool named = first == "check" || first == "log" || first == "--help" || first == "-h" ||
                     first == "--version";
  if (!named) arguments.insert(arguments.begin() + 1, "check");
  return arguments;
}

}  // namespace

int check_main(int argc, char** argv) {
  CLI::App app("Checks event definition files and shows what the daemon logged.", "kovocheck");
  app.set_help_flag("");
  app.set_help_all_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("--version", "kovocheck " KOVO_VERSION, "Print the version and exit");
  app.require_subcommand(1);
  CommandLine line;
  CLI::App& check = *app.add_subcommand(
      "check", "Report what the daemon will do with definition files; the default command");
  add_options(check, line);
  LogCommandLine log_line;
  CLI::App& log = *app.add_subcommand("log", "Show the timeline of a device's logs");
  add_log_options(log, log_line);
  const std::vector<const char*> arguments = with_command(argc, argv);
  for (const std::string_view argument : arguments) {
    if (argument == "--log" || argument.substr(0, 6) == "--log=") {
      return complain("--log is now a command: kovocheck log PATH...");
    }
  }
  try {
    app.parse(static_cast<int>(arguments.size()), arguments.data());
  } catch (const CLI::Success& wish) {  // --help or --version
    return app.exit(wish);
  } catch (const CLI::ParseError& error) {
    return complain(std::string(error.what()) + " (see kovocheck --help)");
  }
  const bool names_event = std::any_of(
      arguments.begin(), arguments.end(),
      [](const char* argument) { return std::string_view(argument).rfind("--explain=", 0) == 0; });
  for (const char* alone : {"--rules", "--explain-rule"}) {
    if (check.count(alone) > 0 && given_options(check) > 1) {
      return complain(alone + std::string(" takes no other options and no file"));
    }
  }
  if (check.parsed()) settle_explain(check, names_event, line);
  const int status = check.parsed() ? run(line) : run_log(log_line);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    return complain(std::string("cannot write: ") + std::strerror(errno));
  }
  return status;
}

}  // namespace kovo::check

int main(int argc, char** argv) {
  return kovo::check::check_main(argc, argv);
}
