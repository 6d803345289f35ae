#pragma once

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "kel_cpp/history/RunRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The cancels and aborts under way. Each begins with a status text of its own, takes the project
/// away where it finds an active connection, and ends with "Idle", all on one thread. A request
/// that finds no active connection changes nothing but the status, so the text alone says little.
/// Not thread-safe.
class EndRequests {
public:
    /// Called by the thread that sets the status.
    void statusSet(const StatusEntry& status);
    /// Called by the thread that takes the project away. True when it does so for a request.
    bool projectDeselected();
    [[nodiscard]] bool isAnyUnderWay() const { return !requests.empty(); }
    /// When a cancel was last asked for that found an active connection.
    [[nodiscard]] std::optional<SystemTime> lastCancel() const { return cancelled; }

private:
    struct Request {
        std::thread::id thread;
        SystemTime time;
        bool isCancel = false;
    };

    std::vector<Request> requests;
    std::optional<SystemTime> cancelled;
};

} // namespace Quarlen::Kel_cpp
