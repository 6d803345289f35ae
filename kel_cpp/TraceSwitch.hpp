#pragma once

#include <filesystem>
#include <memory>

#include "std_util/ErrorHandler.hpp"

namespace Quarlen::Kel_cpp {

/// The runtime's trace file: listens to the process's traces while it is on. Not thread-safe.
class TraceSwitch {
public:
    TraceSwitch() = default;
    TraceSwitch(const TraceSwitch&) = delete;
    TraceSwitch& operator=(const TraceSwitch&) = delete;
    ~TraceSwitch() { turnOff(); }

    /// Writes to "kel_server.log" in the folder, which is created when missing, and sets the
    /// process's trace level. When the trace file is already in that folder, only the level is set.
    /// Throws `KelApiException` (code Configuration) that names the file and the cause; the
    /// previous trace file then stays in use.
    void turnOn(const std::filesystem::path& folder, int level);
    void turnOff();

private:
    std::filesystem::path currentFolder;
    std::shared_ptr<StdUtil::TraceListener> listener;
};

} // namespace Quarlen::Kel_cpp
