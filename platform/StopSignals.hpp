#pragma once

#include <atomic>
#include <memory>

namespace Quarlen::Platform {

/// From now on a request from outside to end the process raises `stopRequested` instead, so that
/// the process can end in order: SIGINT, SIGTERM and SIGHUP; on Windows Ctrl-C, Ctrl-Break, a
/// console that is closed, log-off and shutdown. A second SIGINT or SIGTERM (Ctrl-C or Ctrl-Break)
/// ends the process at once, as the first would have done. Signals that were ignored stay ignored.
///
/// Call it once per process, before the process has other threads.
void raiseOnStopSignals(std::shared_ptr<std::atomic<bool>> stopRequested);

} // namespace Quarlen::Platform
