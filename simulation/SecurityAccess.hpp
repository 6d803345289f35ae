#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "platform/Clock.hpp"
#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// SecurityAccess of a simulated control unit (ISO 14229-1 clause 10.4). Seeds follow one another
/// in a fixed order, so that a run can be repeated. Each level counts its wrong keys: after the
/// third no seed of that level is given for ten seconds; neither a reset nor a change of the
/// session shortens that. Not thread-safe.
class SecurityAccess {
public:
    SecurityAccess(const std::vector<SecurityLevelDescription>& descriptions,
                   std::uint16_t seedOrigin);

    ServiceReply handle(const Uds::Bytes& request, Platform::Clock::TimePoint now);

    /// Locks the control unit again and discards the last seed.
    void lock();
    /// 0: locked.
    [[nodiscard]] std::uint8_t unlockedLevel() const noexcept { return unlocked; }

private:
    struct Level {
        SecurityLevelDescription description;
        int wrongKeys = 0;
        Platform::Clock::TimePoint blockedUntil{};
    };

    ServiceReply giveSeed(const Level& level, std::size_t requestLength,
                          Platform::Clock::TimePoint now);
    ServiceReply takeKey(Level& level, const Uds::Bytes& request, Platform::Clock::TimePoint now);
    static Uds::Nrc refuseKey(Level& level, Platform::Clock::TimePoint now);
    Uds::Bytes nextSeed();

    std::vector<Level> levels;
    std::mt19937 seeds;
    /// The seed that waits for its key; empty when there is none.
    Uds::Bytes seed;
    std::uint8_t seedLevel = 0;
    std::uint8_t unlocked = 0;
};

} // namespace Quarlen::Simulation
