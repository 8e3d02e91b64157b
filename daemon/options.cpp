#include "daemon/options.h"

#include <getopt.h>

#include <cstdio>
#include <string>

#include "core/network.h"
#include "core/text.h"
#include "daemon/client_mode.h"
#include "daemon/system/log.h"

namespace kovo {

const char kVersion[] = KOVO_VERSION;  // of the project, in the top CMakeLists.txt
const char kBuild[] = __DATE__ " " __TIME__ " +08:00";

namespace {

constexpr int kQueueSizeInUsage = 1024;  // only printed; -s has no effect

enum LongOption { kQa = 256, kQr, kClient, kCmd };  // without a short form

const option kLongOptions[] = {
    {"help", no_argument, nullptr, 'h'},
    {"ip", required_argument, nullptr, 'i'},
    {"port", required_argument, nullptr, 'p'},
    {"queue_size", required_argument, nullptr, 's'},
    {"qa", no_argument, nullptr, kQa},
    {"qr", no_argument, nullptr, kQr},
    {"client", required_argument, nullptr, kClient},
    {"cmd", required_argument, nullptr, kCmd},
    {nullptr, 0, nullptr, 0},
};

void print_usage() {
  std::printf(
      "kovotcp %s\nUsage: kovotcp\n"
      "\t-h | --help:\t\tShow help\n"
      "\t-i | --ip:\t\tbinding ip, default is 127.0.0.1\n"
      "\t-v :\t\t\t\tshow version\n"
      "\t-p <n> | --port <n>:\tSet port number, default port=%d\n"
      "\t-q | --qa:\t\tDisable all log messages\n"
      "\t--qr:\t\t\tDisable the log messages on run kovoevent\n"
      "\t-s | --queue_size:\tmax events in queue, default is %d\n"
      "\t--client command:  run as kovotcp_client command\n"
      "\t--cmd setting-command:  send setting commandto kovotcp\n",
      kVersion, kCommandPort, kQueueSizeInUsage);
}

}  // namespace

AfterOptions parse_options(int argc, char** argv) {
  bool client = false;
  bool cmd = false;
  int letter = 0;
  while ((letter = getopt_long(argc, argv, "hi:p:qs:vd", kLongOptions, nullptr)) != -1) {
    switch (letter) {
      case 'h':
        print_usage();
        return AfterOptions::kExit;
      case 'v':
        std::printf("kovotcp-V%s.CoreLx Build: %s\n", kVersion, kBuild);
        return AfterOptions::kExit;
      case 'd':
        debug = 1;
        break;
      case kClient:
        client = *optarg != '\0';
        if (client) run_client_mode(std::string(truncated(optarg, kMaxMessage)));
        break;
      case kCmd:
        cmd = *optarg != '\0';
        break;
      default:  // -i, -p, -q, -s, --qa and --qr change nothing; getopt_long has reported an unknown
                // option
        break;
    }
  }
  return client || cmd ? AfterOptions::kExit : AfterOptions::kStartDaemon;
}

}  // namespace kovo
