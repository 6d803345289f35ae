#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Quarlen::Platform {

/// The program behind its entry point. Gets its command line, calls `started` once it is up, and
/// returns its exit code.
using MainProgram = std::function<int(const std::vector<std::wstring>& arguments,
                                      const std::function<void()>& started)>;

/// Runs the program on the calling thread, with `raiseOnStopSignals` for whoever asks it to end.
///
/// On Windows an argument that is exactly "--service" makes it a service: the service manager,
/// which has to have started the process, is told of each state and asks it to end, by the same
/// flag. The program gets "--non_interactive" instead of that argument, at the end, and its current
/// folder is the one that it lies in. Started by anybody else it returns 1 and has not run.
int runServiceProgram(const std::vector<std::wstring>& arguments,
                      const std::shared_ptr<std::atomic<bool>>& stopRequested,
                      const MainProgram& program);

} // namespace Quarlen::Platform
