// The program as it is used: its reports letter by letter, its options and its exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

#include "tests/check/texts.h"

namespace kovo::check {
namespace {

struct Result {
  int status = -1;
  std::string output;  // what it prints, errors too
};

/// Runs kovocheck in the folder of the examples, its arguments taken by bash.
Result run(const std::string& arguments) {
  Result result;
  setenv("ARGUMENTS", (KOVOCHECK " " + arguments).c_str(), 1);
  std::FILE* pipe = popen("cd " KOVO_EXAMPLES " && exec 2>&1 && bash -c \"$ARGUMENTS\"", "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  std::size_t size = 0;
  while ((size = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
    result.output.append(buffer, size);
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

TEST(Program, ReportsTheFaultyExampleLetterByLetter) {
  EXPECT_EQ(run("faulty.txt").output, read_example("faulty.report"));
}

// What is cut, dropped and never sent; 120 zeros are shown as one.
constexpr char kOddEvents[] =
    "--explain --status <(printf 'long=%01050d\\nname=Lobby') <(printf '%s\\n'"
    " LateCount=2 LateDelay=60 LateProtocol0=udp LateDelay0=-5"
    " DVIConnectedCount=3 DVIConnectedXMLfield=Late DVIConnectedDelay0=0"
    " nameCount=3 nameDelay=2 nameProtocol0=UDP nameIP0=lamp namePort0=70000"
    " nameData0=7B7B6C6F6E677D7D nameProtocol2=TCP nameIP2=10.0.0.7 namePort2=80"
    " nameData2=7B7B6E616D657D7D007D) | sed 's/\"0\\{120\\}\\./\"0./'";
constexpr char kOddExplained[] = R"( notes

Late   raised by "Late" (only by name on tcp:2700); never runs: it is dropped after 60 s
  -5 ms  |-                            sends nothing: "udp" names no sender
  and 1 step without lines: nothing is sent

DVIConnected   raised by "Late" (only by name on tcp:2700); never found: the trigger raises Late
   0 ms  |-                            sends nothing: "" names no sender
  and 2 steps without lines: nothing is sent

name   raised by "name" (variable DEVICE_NAME); runs after 2 s
   0 ms  |#                     UDP 0.0.0.0:4464   1023 bytes  "0..."  cut at 1023 bytes
   0 ms  |#                     TCP 10.0.0.7:80       5 bytes  "Lobby"  ends at a zero byte
  and 1 step without lines: nothing is sent
)";
constexpr char kDoorExplained[] = R"(kovo.txt: 0 errors, 0 warnings, 0 notes

Door   raised by "doorState" (only by name on tcp:2700); runs within 250 ms
   0 ms  |#                     UDP 10.0.0.7:6000   28 bytes  "Door of {{name}} at {{time}}"
 100 ms  |     #                TCP 10.0.0.6:23     10 bytes  "LIGHTS ON\r"
 350 ms  |                #     UDP 10.0.0.7:6000   the device's status
)";
constexpr char kJsonFinding[] =
    R"("line":3,"column":1,"length":7,"severity":"note","rule":"trigger","text":"nothing on the )"
    R"(device raises \"poweron\" by itself, only a program that names it on tcp:2700","hint":"did )"
    R"(you mean PowerOn?","mend":null},)";
constexpr char kJsonStep[] =
    R"({"index":0,"offset_ms":100,"sends":"nothing","transport":"","protocol":"udp",)"
    R"("address":"0.0.0.0","port":4464,"bytes":0,"hex":"","payload":"","cut":false,)"
    R"("ends_at_zero":false}]},)";

TEST(Program, OutputAndExitStatusSayWhatCameOut) {
  const struct {
    const char* arguments;
    int status;
    const char* output;  // a part of it
  } cases[] = {
      {"kovo.txt", 0, "kovo.txt: 0 errors, 0 warnings, 1 note\n"},
      {"--disable trigger --explain=Door kovo.txt", 0, kDoorExplained},
      {kOddEvents, 0, kOddExplained},
      {"kovo.txt kovo.txt --explain Door", 0, "LIGHTS ON"},
      {"--explain kovo.txt", 0, "RENAMED"},
      {"kovo.txt --explain Nothing", 2, "kovocheck: no event or trigger \"Nothing\"\n"},
      {"--format=json faulty.txt", 1, kJsonFinding},
      {"--format=json faulty.txt", 1, kJsonStep},
      {"--format=json faulty.txt - </dev/null", 1, R"("errors":26,"warnings":9,"notes":6})"},
      {"--strict <(echo x)", 1, "1 error,"},
      {"<(echo x)", 0, "1 warning,"},
      {"- </dev/null", 0, "<stdin>: 0 errors"},
      {"- < <(yes | head -n 100001) | tail -n 1", 0, "0 errors, 100000 warnings"},
      {"faulty.txt --disable protocol,count --disable=index", 1, " errors"},
      {"kovo.txt nowhere.txt", 2, "kovocheck: nowhere.txt: No such file or directory\n"},
      {".", 2, "kovocheck: .: Is a directory\n"},
      {"/dev/zero", 2, "kovocheck: /dev/zero: larger than 4 MiB: no definition file\n"},
      {"<(head -c 200000 /dev/urandom)", 1, " warnings"},
      {"", 2, "kovocheck: no file given (see kovocheck --help)\n"},
      {"--disable everything kovo.txt", 2, "kovocheck: no rule \"everything\""},
      {"--product lamp kovo.txt", 2, "kovocheck: no product \"lamp\""},
      {"--product output <(echo HDMIOutStatusCount=1)", 1, " 0 notes"},
      {"--product input-usbc <(echo HDMIOutStatusCount=1)", 1, " 1 note"},
      {"--format xml kovo.txt", 2, "kovocheck: no format \"xml\""},
      {"--status /dev/null kovo.txt", 2, "kovocheck: /dev/null: holds no line name=value"},
      {"--wrong", 2, "(see kovocheck --help)\n"},
      {"--rules", 0, "display-period   note     display-connection events"},
      {"--help", 0, "--explain [EVENT]"},
      {"--version", 0, "kovocheck 1."},
      {"kovo.txt 2>&1 >/dev/full", 2, "kovocheck: cannot write: No space left on device\n"},
  };
  for (const auto& c : cases) {
    const Result result = run(c.arguments);
    EXPECT_EQ(result.status, c.status) << c.arguments << ": " << result.output;
    EXPECT_NE(result.output.find(c.output), std::string::npos)
        << c.arguments << ": " << result.output;
  }
}

}  // namespace
}  // namespace kovo::check
