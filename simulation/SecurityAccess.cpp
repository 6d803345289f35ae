#include "simulation/SecurityAccess.hpp"

#include <algorithm>
#include <utility>

#include "uds/SeedKey.hpp"

namespace Quarlen::Simulation {

namespace {

constexpr int maxWrongKeys = 3;
constexpr std::chrono::seconds delayAfterWrongKeys{10};
constexpr std::size_t seedLength = 4;

} // namespace

SecurityAccess::SecurityAccess(const std::vector<SecurityLevelDescription>& descriptions,
                               std::uint16_t seedOrigin)
    : seeds(seedOrigin) {
    for (const auto& description : descriptions) {
        levels.push_back({description});
    }
}

ServiceReply SecurityAccess::handle(const Uds::Bytes& request, Platform::Clock::TimePoint now) {
    const auto subFunction = request[1];
    const bool asksForSeed = subFunction % 2 == 1;
    const auto level = std::find_if(levels.begin(), levels.end(), [&](const auto& candidate) {
        return candidate.description.level == subFunction - (asksForSeed ? 0 : 1);
    });
    if (level == levels.end()) {
        return Uds::Nrc::SubFunctionNotSupported;
    }
    return asksForSeed ? giveSeed(*level, request.size(), now) : takeKey(*level, request, now);
}

void SecurityAccess::lock() {
    seed.clear();
    unlocked = 0;
}

ServiceReply SecurityAccess::giveSeed(const Level& level, std::size_t requestLength,
                                      Platform::Clock::TimePoint now) {
    if (requestLength != 2) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (now < level.blockedUntil) {
        return Uds::Nrc::RequiredTimeDelayNotExpired;
    }
    auto response = positiveResponse(Uds::Service::SecurityAccess, {level.description.level});
    if (unlocked == level.description.level) {
        response.resize(response.size() + seedLength, 0);
        return response;
    }
    seed = nextSeed();
    seedLevel = level.description.level;
    response.insert(response.end(), seed.begin(), seed.end());
    return response;
}

ServiceReply SecurityAccess::takeKey(Level& level, const Uds::Bytes& request,
                                     Platform::Clock::TimePoint now) {
    if (request.size() != 2 + seedLength) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (seed.empty() || seedLevel != level.description.level) {
        return Uds::Nrc::RequestSequenceError;
    }
    const auto key = Uds::keyForSeed(std::exchange(seed, {}), level.description.keyMask);
    if (!std::equal(key.begin(), key.end(), request.begin() + 2, request.end())) {
        return refuseKey(level, now);
    }
    level.wrongKeys = 0;
    unlocked = level.description.level;
    return positiveResponse(Uds::Service::SecurityAccess,
                            {static_cast<std::uint8_t>(level.description.level + 1)});
}

Uds::Nrc SecurityAccess::refuseKey(Level& level, Platform::Clock::TimePoint now) {
    if (++level.wrongKeys < maxWrongKeys) {
        return Uds::Nrc::InvalidKey;
    }
    level.wrongKeys = 0;
    level.blockedUntil = now + delayAfterWrongKeys;
    return Uds::Nrc::ExceededNumberOfAttempts;
}

/// Skips the seed zero, which would mean "unlocked".
Uds::Bytes SecurityAccess::nextSeed() {
    std::uint32_t value = 0;
    while (value == 0) {
        value = static_cast<std::uint32_t>(seeds());
    }
    Uds::Bytes bytes;
    Uds::appendNumber(bytes, value, seedLength);
    return bytes;
}

} // namespace Quarlen::Simulation
