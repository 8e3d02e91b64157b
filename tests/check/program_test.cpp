// The program as it is used: its reports letter by letter, its options and its exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>

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
  const Result result = run("faulty.txt");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, read_text(KOVO_EXAMPLES "/faulty.report"));
}

TEST(Program, ExplainsTheExample) {
  const Result result = run("--disable trigger --explain=Door kovo.txt");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output,
            "kovo.txt: 0 errors, 0 warnings, 0 notes\n"
            "\n"
            "Door   raised by \"doorState\" (only by name on tcp:2700); runs within 250 ms\n"
            "   0 ms  |#                     UDP 10.0.0.7:6000   28 bytes  "
            "\"Door of {{name}} at {{time}}\"\n"
            " 100 ms  |     #                TCP 10.0.0.6:23     10 bytes  \"LIGHTS ON\\r\"\n"
            " 350 ms  |                #     UDP 10.0.0.7:6000   the device's status\n");
}

TEST(Program, ExplainsWhatIsCutDroppedAndNeverSent) {
  const Result result =
      run("--explain --status <(printf 'long=%01050d\\nname=Lobby') <(printf '%s\\n'"
          " LateCount=2 LateDelay=60 LateProtocol0=udp LateDelay0=-5"
          " DVIConnectedCount=3 DVIConnectedXMLfield=Late DVIConnectedDelay0=0"
          " nameCount=3 nameDelay=2 nameProtocol0=UDP nameIP0=lamp namePort0=70000"
          " nameData0=7B7B6C6F6E677D7D nameProtocol2=TCP nameIP2=10.0.0.7 namePort2=80"
          " nameData2=7B7B6E616D657D7D007D) | sed '1,/: .* errors/d'");
  EXPECT_EQ(
      result.output,
      "\n"
      "Late   raised by \"Late\" (only by name on tcp:2700); never runs: it is dropped after "
      "60 s\n"
      "  -5 ms  |-                            sends nothing: \"udp\" names no sender\n"
      "  and 1 step without lines: nothing is sent\n"
      "\n"
      "DVIConnected   raised by \"Late\" (only by name on tcp:2700); never found: the trigger "
      "raises Late\n"
      "   0 ms  |-                            sends nothing: \"\" names no sender\n"
      "  and 2 steps without lines: nothing is sent\n"
      "\n"
      "name   raised by \"name\" (variable DEVICE_NAME); runs after 2 s\n"
      "   0 ms  |#                     UDP 0.0.0.0:4464   1023 bytes  \"" +
          std::string(120, '0') +
          "...\"  cut at 1023 bytes\n"
          "   0 ms  |#                     TCP 10.0.0.7:80       5 bytes  \"Lobby\"  ends at a "
          "zero byte\n"
          "  and 1 step without lines: nothing is sent\n");
}

TEST(Program, SpeaksJson) {
  const Result result = run("--format=json faulty.txt - </dev/null");
  const nlohmann::json json = nlohmann::json::parse(result.output);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(json["errors"].get<std::size_t>() + json["warnings"].get<std::size_t>() +
                json["notes"].get<std::size_t>(),
            json["findings"].size());
  const nlohmann::json& finding = json["findings"][2];
  EXPECT_EQ(
      finding.dump(),
      R"({"column":1,"file":"faulty.txt","hint":"did you mean PowerOn?","length":7,"line":3,)"
      R"("mend":null,"rule":"trigger","severity":"note","text":"nothing on the device raises )"
      R"(\"poweron\" by itself, only a program that names it on tcp:2700"})");
  EXPECT_EQ(json["events"][2]["steps"][1].dump(),
            R"({"address":"0.0.0.0","bytes":0,"cut":false,"ends_at_zero":false,"hex":"","index":0,)"
            R"("offset_ms":100,"payload":"","port":4464,"protocol":"udp","sends":"nothing",)"
            R"("transport":""})");
}

TEST(Program, ExitStatusSaysWhatCameOut) {
  const struct {
    const char* arguments;
    int status;
    const char* output;  // a part of it
  } cases[] = {
      {"kovo.txt", 0, "kovo.txt: 0 errors, 0 warnings, 1 note\n"},
      {"kovo.txt --disable trigger", 0, "0 notes"},
      {"kovo.txt kovo.txt --explain Door", 0, "LIGHTS ON"},
      {"--explain kovo.txt", 0, "RENAMED"},
      {"kovo.txt --explain Nothing", 2, "kovocheck: no event or trigger \"Nothing\"\n"},
      {"--strict <(echo x)", 1, "1 error,"},
      {"<(echo x)", 0, "1 warning,"},
      {"- </dev/null", 0, "<stdin>: 0 errors"},
      {"faulty.txt --disable protocol,count --disable=index", 1, " errors"},
      {"kovo.txt nowhere.txt", 2, "kovocheck: nowhere.txt: No such file or directory\n"},
      {".", 2, "kovocheck: .: Is a directory\n"},
      {"/dev/zero", 2, "kovocheck: /dev/zero: larger than 4 MiB: no definition file\n"},
      {"<(head -c 200000 /dev/urandom)", 1, " warnings"},
      {"", 2, "kovocheck: no file given (see kovocheck --help)\n"},
      {"--disable everything kovo.txt", 2, "kovocheck: no rule \"everything\""},
      {"--product lamp kovo.txt", 2, "kovocheck: no product \"lamp\""},
      {"--product output kovo.txt", 0, "1 note"},
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
