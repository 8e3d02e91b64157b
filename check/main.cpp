// kovocheck: reports what the daemon will do with a definition file, and what it did by its logs.
#include <unistd.h>

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>

#include "check/explain.h"
#include "check/fixes.h"
#include "check/json.h"
#include "check/log/files.h"
#include "check/payload.h"
#include "check/report.h"
#include "check/rules.h"

namespace kovo::check {
namespace {

enum : int { kClean = 0, kHasErrors = 1, kCannotCheck = 2 };

struct CommandLine {
  std::vector<std::string> files;
  std::string explained;  // "" for all events
  bool explain = false;
  std::string status_file;
  std::string format = "text";
  bool fix = false;
  std::string rule;  // to explain
  CheckOptions options;
};

int complain(const std::string& text) {
  std::fprintf(stderr, "kovocheck: %s\n", escaped(text).c_str());
  return kCannotCheck;
}

/// Reads a file or standard input up to a few bytes after `limit`; returns the reason of a failure.
std::string read_up_to(std::size_t limit, const std::string& path, std::string& text) {
  std::FILE* file = path == "-" ? stdin : std::fopen(path.c_str(), "r");
  if (file == nullptr) return std::strerror(errno);
  char buffer[65536];
  std::size_t size = 0;
  while (text.size() <= limit && (size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    text.append(buffer, size);
  }
  std::string error = std::ferror(file) != 0 ? std::strerror(errno) : "";
  if (file != stdin) std::fclose(file);
  return error;
}

std::string read_definitions(const std::string& path, std::string& text) {
  std::string error = read_up_to(kMaxDefinitionBytes, path, text);
  if (text.size() > kMaxDefinitionBytes) error = "larger than 1 MiB: not read by the daemon";
  return error;
}

CLI::Validator is_one_of(std::set<std::string> words) {
  return CLI::Validator(CLI::IsMember(std::move(words))).description("");
}

std::string is_rule(const std::string& name) {
  if (find_rule(name) < kRuleCount) return "";
  return "no rule \"" + name + "\" (kovocheck --rules lists them)";
}

void add_options(CLI::App& app, CommandLine& line) {
  app.add_option("FILE", line.files, "Definition files; - is standard input");
  app.add_option("--explain", line.explained,
                 "Show what all events do, or those with\nthis name or trigger")
      ->type_name("[EVENT]")
      ->expected(0, 1)
      ->trigger_on_parse();
  app.add_option("--status", line.status_file, "The device's /tmp/kovo_var.txt or status answer")
      ->type_name("FILE");
  app.add_option_function<std::string>(
         "--product",
         [&line](const std::string& name) { line.options.products = product_of(name); },
         "input-hdmi, input-usbc or output; otherwise any")
      ->type_name("PRODUCT")
      ->check(is_one_of({"input-hdmi", "input-usbc", "output"}));
  app.add_option("--format", line.format, "text, json, or diff for the fixes")
      ->type_name("FORMAT")
      ->check(is_one_of({"text", "json", "diff"}));
  app.add_flag("--fix", line.fix, "Write the fixes to the files, check the result");
  app.add_flag("--rules", "List the rules");
  app.add_option("--explain-rule", line.rule, "Explain a rule, with an example")
      ->type_name("RULE")
      ->check(is_rule, "");
  app.add_option_function<std::vector<std::string>>(
         "--disable",
         [&line](const std::vector<std::string>& rules) {
           for (const std::string& rule : rules) line.options.disabled.set(find_rule(rule));
         },
         "Do not apply these rules (separated by commas)")
      ->type_name("RULE")
      ->delimiter(',')
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all()
      ->check(is_rule, "");
  app.add_flag("--strict", line.options.strict, "Warnings count as errors");
}

void add_log_options(CLI::App& app, std::string& definitions_file, LogOptions& options) {
  app.add_option("PATH", options.paths, "Logs, and directories with logs")->required();
  app.add_option("--definitions", definitions_file, "The definition file of the device")
      ->type_name("FILE");
  app.add_option("--trigger", options.trigger, "Only this trigger")->type_name("NAME");
  app.add_option("--since", options.since, "YYYY-MM-DD, HH:MM[:SS] or both")->type_name("TIME");
  app.add_flag("--failed", options.only_failed, "Only what failed; then exit status 1");
  app.add_option_function<std::string>(
         "--format", [&options](const std::string& format) { options.json = format == "json"; },
         "text or json")
      ->type_name("FORMAT")
      ->check(is_one_of({"text", "json"}));
}

struct Outcome {
  bool explained = false;  // an event was found
  std::string output;
  std::vector<CheckedFile> for_json;
};

/// Returns the path from the directory in which a diff is applied: the root, or the one to which
/// leading ".." lead.
std::string diff_path(const std::string& path) {
  std::string result = std::filesystem::path(path).lexically_normal().relative_path().string();
  while (result.rfind("../", 0) == 0) result.erase(0, 3);
  return result;
}

/// Applies the fixes of a text: writes them to its file, or to the output as a diff. With --fix,
/// the text becomes the one to report. Returns the reason why they cannot be written.
std::string fix_text(const std::string& path, const std::string& name, const CommandLine& line,
                     std::string& text, std::string& output) {
  FixedText fixed = apply_fixes(text, line.options);
  if (line.fix && fixed.text != text) {
    const std::string error = replace_file(path, fixed.text);
    if (!error.empty()) return "cannot write: " + error;
  }
  if (line.format == "diff") output += unified_diff(diff_path(name), text, fixed.text);
  if (!line.fix) return {};
  if (line.format == "text" && fixed.fixes > 0) {
    output += fmt::format("{}: fixes applied: {}\n", escaped(name), fixed.fixes);
  }
  text = std::move(fixed.text);
  return {};
}

/// Checks a file and adds what is printed about it. Returns the exit status for it.
int check_file(const std::string& path, const CommandLine& line, Outcome& outcome) {
  const std::string name = path == "-" ? "<stdin>" : path;
  const bool diff = line.format == "diff";
  std::string text;
  std::string error = read_definitions(path, text);
  if (error.empty() && (line.fix || diff)) {
    error = fix_text(path, name, line, text, outcome.output);
  }
  if (!error.empty()) return complain(path + ": " + error);
  const CheckOptions& options = line.options;
  const Source source = read_source(text);
  CheckedFile checked{name, check_source(source, options), {}};
  const int status = count_of(checked.findings, Severity::kError) > 0 ? kHasErrors : kClean;
  if (diff) return status;
  const bool json = line.format == "json";
  if (json || line.explain) {
    checked.events = explain(source, options.products, known_values(options.status));
  }
  if (json) {
    remove_harmful_fixes(text, source, options, checked.findings);
    outcome.for_json.push_back(std::move(checked));
    return status;
  }
  const std::string events = explain_text(checked.events, line.explained);
  outcome.explained = outcome.explained || !events.empty();
  outcome.output += report_text(escaped(name), source, checked.findings,
                                isatty(STDOUT_FILENO) != 0 ? kReportWidth : kNotWrapped);
  if (!events.empty()) outcome.output += "\n" + events;
  return status;
}

int run_log(const std::string& definitions_file, LogOptions& options) {
  options.has_definitions = !definitions_file.empty();
  if (options.has_definitions) {
    const std::string error = read_definitions(definitions_file, options.definitions);
    if (!error.empty()) return complain(definitions_file + ": " + error);
  }
  const LogResult result = show_logs(options);
  if (result == LogResult::kCannotRead) return kCannotCheck;
  return result == LogResult::kFailed ? kHasErrors : kClean;
}

int run(CommandLine& line) {
  if (line.files.empty()) return complain("no file given (see kovocheck --help)");
  if (line.fix && std::count(line.files.begin(), line.files.end(), "-") > 0) {
    return complain("--fix cannot write standard input: use --format=diff");
  }
  if (line.explain && line.format != "text") {
    return complain("--explain has no effect with --format=" + line.format);
  }
  StatusVars status;
  if (!line.status_file.empty()) {
    std::string text;
    std::string error = read_up_to(kMaxStatusBytes, line.status_file, text);
    if (error.empty()) error = parse_status(text, status);
    if (!error.empty()) return complain(line.status_file + ": " + error);
    line.options.status = &status;
  }
  Outcome outcome;
  int exit_status = kClean;
  for (const std::string& path : line.files) {
    exit_status = std::max(exit_status, check_file(path, line, outcome));
  }
  if (!outcome.for_json.empty()) outcome.output += json_text(outcome.for_json) + "\n";
  std::fwrite(outcome.output.data(), 1, outcome.output.size(), stdout);
  if (!line.explained.empty() && !outcome.explained && exit_status != kCannotCheck) {
    return complain("no event or trigger \"" + line.explained + "\"");
  }
  return exit_status;
}

/// Runs the command "check"; --explain is followed by the file if that is its only word.
int run_check(const CLI::App& app, bool names_event, CommandLine& line) {
  const bool list_rules = app.count("--rules") > 0;
  if ((list_rules || !line.rule.empty()) && app.count_all() > 2) {  // with the command itself
    return complain("--rules and --explain-rule take no other options and no file");
  }
  if (list_rules || !line.rule.empty()) {
    std::fputs((list_rules ? rules_text() : std::string(rule_section(line.rule))).c_str(), stdout);
    return kClean;
  }
  line.explain = app.count("--explain") > 0;
  if (line.files.empty() && !names_event && !line.explained.empty()) {
    line.files.push_back(std::exchange(line.explained, {}));
  }
  return run(line);
}

}  // namespace

int check_main(int argc, char** argv) {
  CLI::App app("Checks event definition files and shows what the daemon logged.", "kovocheck");
  app.set_help_flag("");
  app.set_help_all_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("--version", "kovocheck " KOVO_VERSION, "Print the version and exit");
  app.require_subcommand(1);
  // CLI11 2.1 cannot replace the usage "kovocheck [OPTIONS] SUBCOMMAND", only its words.
  app.get_formatter()->label("OPTIONS", "check");
  app.get_formatter()->label("SUBCOMMAND",
                             "[OPTIONS] FILE...\n       kovocheck log [OPTIONS] PATH...");
  CLI::App& check = *app.add_subcommand(
      "check", "Report what the daemon will do with definition files; the default command");
  CommandLine line;
  add_options(check, line);
  CLI::App& log = *app.add_subcommand("log", "Show the timeline of a device's logs");
  std::string definitions_file;
  LogOptions log_options;
  add_log_options(log, definitions_file, log_options);
  std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  const std::string first = arguments.empty() ? "" : arguments.front();
  if (std::set<std::string>{"check", "log", "--help", "-h", "--version"}.count(first) == 0) {
    arguments.insert(arguments.begin(), "check");
  }
  const bool names_event =
      std::any_of(arguments.begin(), arguments.end(),
                  [](const std::string& argument) { return argument.rfind("--explain=", 0) == 0; });
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants a vector
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::Success& wish) {  // --help or --version
    return app.exit(wish);
  } catch (const CLI::ParseError& error) {
    return complain(std::string(error.what()) + " (see kovocheck --help)");
  }
  const int status =
      check.parsed() ? run_check(check, names_event, line) : run_log(definitions_file, log_options);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    return complain(std::string("cannot write: ") + std::strerror(errno));
  }
  return status;
}

}  // namespace kovo::check

int main(int argc, char** argv) {
  return kovo::check::check_main(argc, argv);
}
