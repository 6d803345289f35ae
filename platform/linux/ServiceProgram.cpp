#include "platform/ServiceProgram.hpp"

#include "platform/StopSignals.hpp"

namespace Quarlen::Platform {

int runServiceProgram(const std::vector<std::wstring>& arguments,
                      const std::shared_ptr<std::atomic<bool>>& stopRequested,
                      const MainProgram& program) {
    raiseOnStopSignals(stopRequested);
    return program(arguments, [] {});
}

} // namespace Quarlen::Platform
