// The program as it is used: its reports, options and exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <regex>

#include "check/json.h"
#include "tests/check/texts.h"

namespace kovo::check {
namespace {

/// Runs kovocheck in the directory of the examples, its arguments taken by bash. Returns its exit
/// status and what it prints, errors too.
std::pair<int, std::string> run(const std::string& arguments) {
  setenv("ARGUMENTS", (KOVOCHECK " " + arguments).c_str(), 1);
  std::FILE* pipe = popen("cd " KOVO_EXAMPLES " && exec 2>&1 && bash -c \"$ARGUMENTS\"", "r");
  if (pipe == nullptr) return {-1, "no pipe"};
  std::string output;
  char buffer[4096];
  std::size_t size = 0;
  while ((size = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, size);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

TEST(Program, PrintsTheReportInTheDocuments) {
  EXPECT_EQ(run("faulty.txt"), std::make_pair(1, read_example("faulty.report")));
}

// What is truncated, dropped and never sent; 120 zeros are shown as one.
constexpr char kOddEvents[] =
    "--explain --status <(printf 'long=%01050d\\nname=Lobby\\na=\\nb=\\nc=\\nd=') <(printf '%s\\n'"
    " Late{Count=2,Delay=60,Protocol0=udp,Delay0=-5} DVIConnected{Count=3,XMLfield=Late}"
    " name{Count=3,Delay=2,Delay0=9,Protocol0=UDP,IP0=lamp,Port0=70000,Data0=7B7B6C6F6E677D7D}"
    " name{Protocol2=TCP,IP2=10.0.0.7,Port2=80,Data2=7B7B6E616D657D7D007D}"
    " All{Count=2,XMLfield=poweron,Protocol0=UDP,IP0=255.255.255.255,Port0=9,Data1=41})"
    " | sed 's/\"0\\{120\\}\\./\"0./'";
constexpr char kOddExplained[] = R"(
Late   raised by "Late" (only by a program on tcp:2700); never runs: it is dropped after 60 s
  -5 ms  |-                            sends nothing: "udp" is not a supported protocol
  and 1 step without lines: nothing is sent

DVIConnected   raised by "Late" (only by a program on tcp:2700); never found: the trigger raises Late
  and 3 steps without lines: nothing is sent

name   raised by "name" (variable DEVICE_NAME); runs after 2 s
   0 ms  |#                     TCP 10.0.0.7:80       5 bytes  "Lobby"  ends at a NUL
   9 ms  |                #     UDP 0.0.0.0:4464   1023 bytes  "0..."  truncated to 1023 bytes
  and 1 step without lines: nothing is sent

All   raised by "poweron" (only by a program on tcp:2700); runs within 250 ms, once after each boot
   0 ms  |-                     UDP 255.255.255.255:9   not sent: the daemon does not broadcast
   0 ms  |-                                             sends nothing: its Protocol is missing)";
constexpr char kDoorExplained[] = R"(; runs within 250 ms
   0 ms  |#                     UDP 10.0.0.7:6000   28 bytes  "Door of {{name}} at {{time}}"
 100 ms  |     #                TCP 10.0.0.6:23     10 bytes  "LIGHTS ON\r"
 350 ms  |                #     UDP 10.0.0.7:6000   the device's status)";
constexpr char kJsonFinding[] =
    R"({"file":"faulty.txt","line":34,"column":11,"length":5,"severity":"error","rule":"port",)"
    R"("text":"GatePort0=6000x is read as 6000","hint":"did you mean GatePort0=6000?","fix":"6000"},)";
constexpr char kJsonEvent[] =
    R"({"file":"faulty.txt","line":4,"name":"PowerOn","trigger":"PowerOn","raised_by":["the first )"
    R"(start after boot","variable PWR_ON_ST"],"shadowed_by":"","delay_s":90,"never_runs":true,)"
    R"("once_per_boot":true,"display_period":false,"step_count":2,"steps":[{"index":1,)"
    R"("offset_ms":0,"sends":"payload","why":"","transport":"TCP","protocol":"TCP","address":"10.0.0.6",)"
    R"("port":23,"bytes":2,"hex":"4F4B","payload":"OK","truncated":false,"ends_at_zero":true}]},)";

// The diff has the changes of the fixes, which leave nothing to fix.
constexpr char kPatch[] =
    "--version; cd $(mktemp -d) && cat " KOVO_EXAMPLES
    "/faulty.txt >a;"
    " printf 'A =1\\n#\\n#\\n#\\nB =1\\n' >>a; cp a b; " KOVOCHECK " --format=diff a >d; " KOVOCHECK
    " --fix b >e; git apply --whitespace=nowarn d && cmp a b && " KOVOCHECK
    " --format=diff b >d;"
    " ! grep @@ d && echo same";
// A link to a file is followed; its mode stays, and nothing else is left.
constexpr char kFix[] =
    "--version; cd $(mktemp -d) && printf 'EnableEvents =true\r\nACount = 1' >a && chmod 640 a &&"
    " ln -s a b && " KOVOCHECK " --fix --format=diff b; stat -c '%a %F' a b; ls; cat a";
constexpr char kFixed[] =
    "--- a/b\n+++ b/b\n@@ -1,2 +1,2 @@\n-EnableEvents =true\r\n-ACount = 1\n"
    "\\ No newline at end of file\n+EnableEvents=true\n+ACount=1\n\\ No newline at end of file\n"
    "640 regular file\n777 symbolic link\na\nb\nEnableEvents=true\nACount=1";

TEST(Program, ArgumentsDecideOutputAndExitStatus) {
  const struct {
    const char* arguments;
    int status;
    const char* output;  // a part of it
  } cases[] = {
      {"kovo.txt", 0, "kovo.txt: 0 errors, 0 warnings, 1 note\n"},
      {kOddEvents, 0, kOddExplained},
      {"kovo.txt --explain Door", 0, kDoorExplained},
      {"--explain kovo.txt", 0, "RENAMED"},
      {"kovo.txt --explain Nothing", 2, "kovocheck: no event or trigger \"Nothing\"\n"},
      {"--explain kovo.txt faulty.txt", 2, "kovocheck: no event or trigger \"kovo.txt\"\n"},
      {"--explain=Door --format=json kovo.txt", 2, "--explain has no effect with --format=json\n"},
      {"--explain=Nope faulty.txt", 2, "23 errors, 9 warnings, 3 notes\n"},
      {"--rules --strict", 2, "--rules and --explain-rule take no other options and no file"},
      {"--format=diff ../examples/faulty.txt", 1, "--- a/examples/faulty.txt\n"},
      {"--format=json faulty.txt", 1, kJsonFinding},
      {"--format=json faulty.txt", 1, kJsonEvent},
      {"--format=json <(printf 'ACount=1\\nAProtocol0=UDP\\nAData0=7B7B617D7D')", 1,
       R"("bytes":null,"hex":null,"payload":"{{a}}")"},
      {"--format=json --status <(yes name=x | head -6) kovo.txt", 0,
       R"("bytes":null,"hex":null,"payload":"Door of x)"},
      {"--format=json faulty.txt - </dev/null", 1, R"("errors":23,"warnings":10,"notes":3})"},
      {"--format=diff faulty.txt", 1, "-DoorIP1 =10.0.0.6\n"},
      {kFix, 0, kFixed},
      {kPatch, 0, "same\n"},
      {"--fix <(echo EnableEvents =true)", 2, "cannot write: not a regular file\n"},
      {"--fix - </dev/null", 2, "kovocheck: --fix cannot write standard input"},
      {"--format=json <(echo AData0=41,00; echo ACount=1)", 1,
       R"(00; as written, it sends 41","fix":null})"},
      {"--strict <(echo x)", 1, "2 errors,"},
      {"<(echo x)", 0, "2 warnings,"},
      {"<(printf '\\xFF\\xFEx\\0')", 1, ": 1 error, 0 warnings, 0 notes"},
      {"- < <(yes | head -n 100001) | tail -n 1", 0, "<stdin>: 0 errors, 100000 warnings"},
      {"--disable protocol,count faulty.txt --disable=index", 1, "16 errors"},
      {"kovo.txt nowhere.txt", 2, "kovocheck: nowhere.txt: No such file or directory\n"},
      {".", 2, "kovocheck: .: Is a directory\n"},
      {"/dev/zero", 2, "kovocheck: /dev/zero: larger than 1 MiB: not read by the daemon\n"},
      {"", 2, "kovocheck: no file given (see kovocheck --help)\n"},
      {"--disable everything kovo.txt", 2, "kovocheck: --disable: no rule \"everything\""},
      {"--product lamp kovo.txt", 2, "--product: lamp not in {input-hdmi,"},
      {"--product output <(echo HDMIOutStatusCount=1)", 1, " 0 notes"},
      {"--product input-usbc <(echo HDMIOutStatusCount=1)", 1, "hint: other products raise it"},
      {"--status <(yes a= | head -5) kovo.txt", 2, "has 5 lines, and the daemon does not use a"},
      {"--status <(echo '{\\\"a\\\": 1}') kovo.txt", 2, "is JSON, not lines name=value"},
      {"--status <(printf 'a:1=\\nb=2') kovo.txt", 2, "line 2: \"b=2\" is not of the form name:"},
      {"--status <(echo '# cat /tmp/kovo_var.txt'; printf 'name:A\\r\\r\\na:\\rb:\\rc:\\rd:\\re:')"
       " kovo.txt",
       0, "kovo.txt: 0 errors"},
      {"--status <(yes mute=0 | head -4095; echo name=; yes x=) kovo.txt", 0, "kovo.txt: 0 errors"},
      {"--status <(yes mute=0 | head -4096; echo name=; yes x=) kovo.txt", 1, "kovo.txt: 1 error"},
      {"kovo.txt --log .", 2, "not expected: --log (see kovocheck --help)\n"},
      {"log --format=diff .", 2, "--format: diff not in {json,text}"},
      {"--help", 0,
       "Usage: kovocheck [check] [OPTIONS] FILE...\n       kovocheck log [OPTIONS] PATH...\n\n"},
      {"check kovo.txt", 0, "kovo.txt: 0 errors"},
      {"--rules", 0, "\ncount            a Count"},
      {"--explain-rule no-equals", 0, "    kovo.txt:8:1: warning: the line contains"},
      {"--explain-rule nothing", 2, "no rule \"nothing\" (kovocheck --rules lists them)"},
      {"kovo.txt 2>&1 >/dev/full", 2, "kovocheck: cannot write: No space left on device\n"},
  };
  for (const auto& c : cases) {
    const auto [status, output] = run(c.arguments);
    SCOPED_TRACE(c.arguments + (": " + output));
    EXPECT_EQ(status, c.status);
    EXPECT_NE(output.find(c.output), std::string::npos) << c.output;
  }
}

TEST(Program, ReportIsReadByTheProblemMatcher) {
  const Json file = Json::parse(read_example("../../packaging/kovocheck-problem-matcher.json"));
  const std::string report = read_example("faulty.report");
  long findings = -1;  // the last line is the summary
  for (const std::string_view line : split_lines(report)) findings += line.front() != ' ';
  for (const auto& matcher : file["problemMatcher"]) {
    const Json& pattern = matcher["pattern"][0];
    const std::regex form(pattern["regexp"].get<std::string>());
    const auto part = [&](const char* name) { return "$" + pattern[name].dump(); };
    const std::string severity = matcher.contains("severity") ? "note" : part("severity");
    const std::string same = part("file") + ":" + part("line") + ":" + part("column") + ": " +
                             severity + ": " + part("message") + " [" + part("code") + "]";
    for (const std::string_view each : split_lines(report)) {
      const std::string line(each);
      if (!std::regex_match(line, form)) continue;
      EXPECT_EQ(std::regex_replace(line, form, same), line);
      --findings;
    }
  }
  EXPECT_EQ(findings, 0);
}

}  // namespace
}  // namespace kovo::check
