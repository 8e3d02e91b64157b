// The command line.
#pragma once

namespace kovo {

/// Parses the command line and sets debug, verbose and log_level. Help and version are printed, and
/// a client command is run, while it is parsed. Returns whether the daemon is to start: not when
/// one of the options did all the work. Called once, by main.
bool parse_options(int argc, char** argv);

/// The banner's texts.
extern const char kVersion[];
extern const char kBuild[];  // date and time

}  // namespace kovo
