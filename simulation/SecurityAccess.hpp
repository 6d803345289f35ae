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
/// in a fixed order, so that a run can be repeated. After the third wrong key no seed is given for
/// ten seconds; neither a reset nor a change of the session shortens that. Not thread-safe.
class SecurityAccess {
public:
    SecurityAccess(std::vector<SecurityLevelDescription> levels, std::uint16_t seedOrigin);

    ServiceReply handle(const Uds::Bytes& request, Platform::Clock::TimePoint now);

    /// Locks the control unit again and discards the last seed.
    void lock();
    /// 0: locked.
    [[nodiscard]] std::uint8_t unlockedLevel() const noexcept { return unlocked; }

private:
    ServiceReply giveSeed(const SecurityLevelDescription& level, std::size_t requestLength,
                          Platform::Clock::TimePoint now);
    ServiceReply takeKey(const SecurityLevelDescription& level, const Uds::Bytes& request,
                         Platform::Clock::TimePoint now);
    Uds::Nrc refuseKey(Platform::Clock::TimePoint now);
    Uds::Bytes nextSeed();

    std::vector<SecurityLevelDescription> levels;
    std::mt19937 seeds;
    /// The seed that waits for its key; empty when there is none.
    Uds::Bytes seed;
    std::uint8_t seedLevel = 0;
    std::uint8_t unlocked = 0;
    int wrongKeys = 0;
    Platform::Clock::TimePoint blockedUntil{};
};

} // namespace Quarlen::Simulation
