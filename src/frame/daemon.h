// The life of the daemon, from its command line to its supervision loop.
#pragma once

namespace kovo {

/// Runs the program. Returns its exit status, 0, when the command line asked for no daemon;
/// otherwise it never returns. Ends the process with 1 when a worker thread cannot be started.
int run_kovotcp(int argc, char** argv);

}  // namespace kovo
