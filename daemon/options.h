// The command line.
#pragma once

namespace kovo {

enum class AfterOptions { kStartDaemon, kExit, kFailed };  // kFailed: memory was out

/// Parses the command line and sets debug. Prints help or version, or runs the client command,
/// while parsing. Returns whether the daemon is to start: not after one of these options, nor with
/// --cmd. Called once, by main.
AfterOptions parse_options(int argc, char** argv);

extern const char kVersion[];
extern const char kBuild[];  // date and time

}  // namespace kovo
