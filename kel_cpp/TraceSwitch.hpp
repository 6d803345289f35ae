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

    /// A state of the switch that can be entered without fail.
    struct Prepared {
        std::filesystem::path folder;
        /// Null: off.
        std::shared_ptr<StdUtil::TraceListener> listener;
        int level = 0;
    };

    /// Opens "kel_server.log" in the folder, which is created when missing; nothing is written yet.
    /// The trace file that is in use is taken when it is already in that folder. Throws
    /// `KelApiException` (code Configuration) that names the file and the cause.
    [[nodiscard]] Prepared prepareOn(const std::filesystem::path& folder, int level) const;

    /// From now on the prepared file gets the traces, of the prepared level.
    void enter(Prepared prepared);
    void turnOff();

private:
    Prepared current;
};

} // namespace Quarlen::Kel_cpp
