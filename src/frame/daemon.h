// The life of the daemon, from its command line to its supervision loop.
#pragma once

namespace kovo {

constexpr char kPowerOnMarkerPath[] = "/var/tmp/log/kovo_power_on";

/// Runs the program. Returns its exit status: 0 when the command line asked for no daemon, 1 when a
/// worker thread cannot be started; otherwise it never returns.
int run_kovotcp(int argc, char** argv);

}  // namespace kovo
