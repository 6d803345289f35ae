#include "simulation/SimulatedUnits.hpp"

#include <algorithm>
#include <utility>

namespace Quarlen::Simulation {

namespace {

bool keepsQuietAbout(const Uds::Bytes& response) {
    using enum Uds::Nrc;
    for (const auto code :
         {ServiceNotSupported, SubFunctionNotSupported, RequestOutOfRange,
          SubFunctionNotSupportedInActiveSession, ServiceNotSupportedInActiveSession}) {
        if (isRefusal(response, code)) {
            return true;
        }
    }
    return false;
}

/// Whoever has asked for time answers in the end, whatever it is.
bool hasAskedForTime(const std::vector<TimedResponse>& responses) {
    return std::any_of(responses.begin(), responses.end(), [](const auto& response) {
        return isRefusal(response.bytes, Uds::Nrc::ResponsePending);
    });
}

} // namespace

SimulatedUnits::SimulatedUnits(const VehicleDescription& description, Platform::Clock& clock)
    : time(clock) {
    for (const auto& unit : description.controlUnits) {
        units.emplace(unit.address, std::make_unique<Unit>(unit, clock));
    }
}

Uds::UnitAddress SimulatedUnits::resolve(const Uds::UnitAddress& unit) const {
    Uds::UnitAddress resolved = unit;
    if (unit.physical && units.contains(*unit.physical)) {
        return resolved;
    }
    const auto found = std::find_if(units.begin(), units.end(), [&](const auto& candidate) {
        return candidate.second->link == unit.link;
    });
    if (found == units.end()) {
        throw Uds::LinkError(L"the vehicle has no logical link \"" + unit.link + L"\"");
    }
    resolved.physical = found->first;
    return resolved;
}

std::vector<std::uint16_t> SimulatedUnits::addresses() const {
    std::vector<std::uint16_t> all;
    all.reserve(units.size());
    for (const auto& unit : units) {
        all.push_back(unit.first);
    }
    return all;
}

std::vector<TimedResponse> SimulatedUnits::responsesOf(Unit& unit, const Uds::Bytes& request,
                                                       std::chrono::milliseconds extraWork) {
    const std::lock_guard lock(unit.mutex);
    return unit.server.handle(request, extraWork);
}

std::vector<TimedResponse> SimulatedUnits::ask(std::uint16_t address, const Uds::Bytes& request,
                                               std::chrono::milliseconds extraWork) {
    return responsesOf(*units.at(address), request, extraWork);
}

std::vector<Arrival> SimulatedUnits::askAll(const Uds::Bytes& request,
                                            std::chrono::milliseconds extraWork) {
    std::vector<Arrival> arrivals;
    for (auto& [address, unit] : units) {
        auto responses = responsesOf(*unit, request, extraWork);
        const bool tellsAll = hasAskedForTime(responses);
        for (auto& response : responses) {
            if (tellsAll || !keepsQuietAbout(response.bytes)) {
                arrivals.push_back({response.due, {address, std::move(response.bytes)}});
            }
        }
    }
    return arrivals;
}

} // namespace Quarlen::Simulation
