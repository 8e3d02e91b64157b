// Memory that runs out at a chosen moment, for this thread.
#pragma once

#include <new>

namespace kovo {

/// How many more allocations succeed; -1 is no end.
inline thread_local int allocations_left = -1;

/// Lets an action fail at its first allocation, then at its second and so on until it comes
/// through, and looks at what each failure left behind.
template <class Action, class Look>
void fail_each_allocation(const Action& action, const Look& look) {
  bool failed = true;
  for (int allocation = 0; failed; ++allocation) {
    allocations_left = allocation;
    try {
      action();
      failed = false;
    } catch (const std::bad_alloc&) {
    }
    allocations_left = -1;
    look();
  }
}

}  // namespace kovo
