// The demonstration: one thing after the other is told to the daemon, each with what must arrive.
#pragma once

#include "device/simulate/show.h"

namespace kovo::device {

/// Goes the whole road on the example's definitions. False at the first thing that does not arrive.
bool demonstrate(Show& show);

}  // namespace kovo::device
