#include "simulation/SimulatedVehicle.hpp"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "simulation/SimulatedControlUnit.hpp"
#include "simulation/VehicleFile.hpp"

namespace Quarlen::Simulation {

namespace {

using std::chrono::milliseconds;

/// One control unit that all links to it share; the mutex serializes their requests.
class SharedControlUnit {
public:
    SharedControlUnit(const ControlUnitDescription& description, Platform::Clock& clock)
        : unit(description, clock) {}

    std::vector<TimedResponse> handle(const Uds::Bytes& request) {
        const std::lock_guard lock(mutex);
        return unit.handle(request);
    }

private:
    std::mutex mutex;
    SimulatedControlUnit unit;
};

class SimulatedLink : public Uds::VehicleLink {
public:
    SimulatedLink(std::shared_ptr<SharedControlUnit> unit, Platform::Clock& clock)
        : unit(std::move(unit)), clock(clock) {}

    void send(const Uds::Bytes& request) override;
    std::optional<Uds::Bytes> receive(milliseconds timeout) override;

private:
    std::shared_ptr<SharedControlUnit> unit;
    Platform::Clock& clock;
    /// In the order of their due times.
    std::deque<TimedResponse> arriving;
};

void SimulatedLink::send(const Uds::Bytes& request) {
    constexpr std::size_t maxArriving = 1024;
    if (arriving.size() >= maxArriving) {
        throw Uds::LinkError(L"the receive queue is full: " + std::to_wstring(maxArriving) +
                             L" responses were not fetched");
    }
    for (auto& response : unit->handle(request)) {
        const auto place = std::upper_bound(
            arriving.begin(), arriving.end(), response.due,
            [](const auto due, const TimedResponse& other) { return due < other.due; });
        arriving.insert(place, std::move(response));
    }
}

/// Only `send` adds responses and one thread uses the link, so a wait is a sleep until the first
/// response is due.
std::optional<Uds::Bytes> SimulatedLink::receive(milliseconds timeout) {
    constexpr milliseconds slice{20};
    constexpr milliseconds maxTimeout = std::chrono::hours(24);
    const auto deadline = clock.now() + std::clamp(timeout, milliseconds{0}, maxTimeout);
    for (;;) {
        const auto now = clock.now();
        if (!arriving.empty() && arriving.front().due <= now) {
            auto bytes = std::move(arriving.front().bytes);
            arriving.pop_front();
            return bytes;
        }
        if (now >= deadline) {
            return {};
        }
        const auto next = arriving.empty() ? deadline : std::min(deadline, arriving.front().due);
        clock.sleepFor(std::min(std::chrono::ceil<milliseconds>(next - now), slice));
    }
}

class SimulatedVehicle : public Uds::VehicleInterface {
public:
    SimulatedVehicle(const VehicleDescription& description, Platform::Clock& clock) : clock(clock) {
        for (const auto& unit : description.controlUnits) {
            units.emplace(unit.link, std::make_shared<SharedControlUnit>(unit, clock));
        }
    }

    std::unique_ptr<Uds::VehicleLink> openLink(const std::wstring& logicalLink) override {
        const auto unit = units.find(logicalLink);
        if (unit == units.end()) {
            throw Uds::LinkError(L"the vehicle has no logical link \"" + logicalLink + L"\"");
        }
        return std::make_unique<SimulatedLink>(unit->second, clock);
    }

private:
    Platform::Clock& clock;
    /// Control units by logical link; never changed after construction.
    std::map<std::wstring, std::shared_ptr<SharedControlUnit>> units;
};

} // namespace

std::shared_ptr<Uds::VehicleInterface>
openSimulatedVehicle(const std::filesystem::path& vehicleFile, Platform::Clock& clock) {
    return openSimulatedVehicle(readVehicleFile(vehicleFile), clock);
}

std::shared_ptr<Uds::VehicleInterface> openSimulatedVehicle(const VehicleDescription& description,
                                                            Platform::Clock& clock) {
    return std::make_shared<SimulatedVehicle>(description, clock);
}

} // namespace Quarlen::Simulation
