#pragma once

#include <sys/types.h>

namespace Quarlen::Tests {

/// Of its first thread, as the kernel tells it: R runs, S waits, T is stopped.
char stateOf(pid_t process);

/// Returns the state once the first thread of the process waits, is stopped or has ended, or after
/// a minute. A signal comes after this: the thread sanitizer's library loses one that comes while a
/// thread runs into its first wait.
char waitUntilItWaits(pid_t process);

} // namespace Quarlen::Tests
