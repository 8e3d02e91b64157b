#include "frame/options.h"

#include <getopt.h>

#include <cstdio>

#include "control/client_mode.h"
#include "control/command_server.h"
#include "frame/globals.h"
#include "frame/text.h"

namespace kovo {

const char kVersion[] = KOVO_VERSION;  // of the build, from its project line
const char kEdition[] = "CORE+";
const char kBuildDate[] = __DATE__;
const char kBuildTime[] = __TIME__;

namespace {

constexpr int kQueueSizeInUsage = 1024;

// Each of these long options sets its own flag; getopt_long then returns 0.
int qa_flag = 0;
int qr_flag = 0;
int client_flag = 0;
int cmd_flag = 0;

const option kLongOptions[] = {
    {"help", no_argument, nullptr, 'h'},
    {"ip", required_argument, nullptr, 'i'},
    {"port", required_argument, nullptr, 'p'},
    {"queue_size", required_argument, nullptr, 's'},
    {"qa", no_argument, &qa_flag, 1},
    {"qr", no_argument, &qr_flag, 1},
    {"client", required_argument, &client_flag, 1},
    {"cmd", required_argument, &cmd_flag, 1},
    {nullptr, 0, nullptr, 0},
};

void print_usage() {
  std::printf(
      "kovotcp %s\nUsage: kovotcp\n\t-h | --help:\t\tShow help\n\t-i | --ip:\t\tbinding ip, "
      "default "
      "is 127.0.0.1\n\t-v :\t\t\t\tshow version\n\t-p <n> | --port <n>:\tSet port number, default "
      "port=%d\n\t-q | --qa:\t\tDisable all log messages\n\t--qr:\t\t\tDisable the log messages on "
      "run kovoevent\n\t-s | --queue_size:\tmax events in queue, default is %d\n\t--client "
      "command: "
      " run as kovotcp_client command\n\t--cmd setting-command:  send setting commandto kovotcp\n",
      kVersion, kCommandPort, kQueueSizeInUsage);
}

void print_version() {
  std::printf("kovotcp-V%s.CoreLx Build: %s %s +08:00\n", kVersion, kBuildDate, kBuildTime);
}

/// Runs what stands behind a long option of its own flag. An empty argument takes the option back.
void take_flag_option(const int* flag, Options& options) {
  const std::string argument(cut_text(optarg == nullptr ? "" : optarg, kMaxMessage));
  if (flag == &qa_flag) log_level = 0;
  if (flag == &qr_flag) log_level = 1;
  if (flag == &client_flag) {
    client_flag = argument.empty() ? 0 : 1;
    if (!argument.empty()) run_client_mode(argument);
  }
  if (flag == &cmd_flag) {
    cmd_flag = argument.empty() ? 0 : 1;
    if (!argument.empty()) options.setting_command = argument;
  }
}

/// Takes one short option. False when it ends the program.
bool take_short_option(int letter, Options& options) {
  switch (letter) {
    case 'h':
      print_usage();
      return false;
    case 'v':
      print_version();
      return false;
    case 'i':
      options.binding_address = optarg;
      return true;
    case 'q':
      log_level = 0;
      return true;
    case 'd':
      debug = 1;
      verbose = 1;
      return true;
    default:  // -p and -s change nothing; getopt_long has reported what it does not know
      return true;
  }
}

}  // namespace

Options parse_options(int argc, char** argv) {
  Options options;
  int long_index = 0;
  int letter = 0;
  while ((letter = getopt_long(argc, argv, "hi:p:qs:vd", kLongOptions, &long_index)) != -1) {
    if (letter == 0) {
      take_flag_option(kLongOptions[long_index].flag, options);
    } else if (!take_short_option(letter, options)) {
      options.start_daemon = false;
      return options;
    }
  }
  if (client_flag != 0 || cmd_flag != 0) options.start_daemon = false;
  return options;
}

}  // namespace kovo
