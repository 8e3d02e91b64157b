// The command line.
#pragma once

#include <string>

namespace kovo {

struct Options {
  std::string binding_address = "127.0.0.1";  // -i; nothing reads it
  std::string setting_command;                // --cmd; kept, never sent
  bool start_daemon = true;                   // false when one of the options does all the work
};

/// Parses the command line. Help and version are printed, and a client command is run, while it is
/// parsed. Sets debug, verbose and log_level. Called once, by main.
Options parse_options(int argc, char** argv);

/// The banner's texts.
extern const char kVersion[];
extern const char kEdition[];
extern const char kBuildDate[];
extern const char kBuildTime[];

}  // namespace kovo
