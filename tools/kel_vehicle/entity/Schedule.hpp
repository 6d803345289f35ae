#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "platform/Clock.hpp"

namespace Quarlen::KelVehicle {

/// What is to be done at its time, in the order of the times; what has the same time in the order
/// in which it was added. Not thread-safe.
class Schedule {
public:
    using TimePoint = Platform::Clock::TimePoint;
    using Work = std::function<void()>;
    /// Time and number of one work.
    using Key = std::pair<TimePoint, std::uint64_t>;

    Key add(TimePoint due, Work work);
    /// Nothing when it has been done.
    void cancel(const Key& key) { works.erase(key); }
    [[nodiscard]] std::optional<TimePoint> nextDue() const;
    /// Does one work that is due; false when none is.
    bool doNext(TimePoint now);
    void clear() { works.clear(); }

private:
    std::map<Key, Work> works;
    std::uint64_t count = 0;
};

} // namespace Quarlen::KelVehicle
