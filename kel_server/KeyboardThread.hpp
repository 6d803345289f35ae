#pragma once

#include <atomic>
#include <memory>

#include "kel_server/ApplicationEnvironment.hpp"

namespace Quarlen {

/// Prints the prompt and starts the detached thread that raises `stopRequested` when 'q' is
/// pressed. The thread ends after that or at the end of the input, and may still wait for a key
/// when the process ends: it owns everything that it uses. Throws `std::system_error` when the
/// thread cannot be created.
void startKeyboardThread(std::shared_ptr<std::atomic<bool>> stopRequested,
                         const ApplicationEnvironment& environment);

} // namespace Quarlen
