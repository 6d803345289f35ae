#include "kel_cpp/vehicle/SimulatedVehicle.hpp"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "kel_cpp/vehicle/SimulatedControlUnit.hpp"
#include "kel_cpp/vehicle/VehicleFile.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using std::chrono::milliseconds;

/// One control unit for all the links that lead to it.
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

class SimulatedLink : public VehicleLink {
public:
    SimulatedLink(std::shared_ptr<SharedControlUnit> unit, Platform::Clock& clock)
        : unit(std::move(unit)), clock(clock) {}

    void send(const Uds::Bytes& request) override;
    std::optional<Uds::Bytes> receive(milliseconds timeout) override;

private:
    std::shared_ptr<SharedControlUnit> unit;
    Platform::Clock& clock;
    /// In the order of their times.
    std::deque<TimedResponse> arriving;
};

void SimulatedLink::send(const Uds::Bytes& request) {
    constexpr std::size_t mostArriving = 1024;
    if (arriving.size() >= mostArriving) {
        throw LinkError(L"the receive queue is full: " + std::to_wstring(mostArriving) +
                        L" responses were not fetched");
    }
    for (auto& response : unit->handle(request)) {
        const auto place = std::upper_bound(
            arriving.begin(), arriving.end(), response.due,
            [](const auto due, const TimedResponse& other) { return due < other.due; });
        arriving.insert(place, std::move(response));
    }
}

/// Nothing but `send` brings new responses and one thread uses the link, so that waiting is a sleep
/// until the first response is due.
std::optional<Uds::Bytes> SimulatedLink::receive(milliseconds timeout) {
    constexpr milliseconds slice{20};
    constexpr milliseconds longest = std::chrono::hours(24);
    const auto deadline = clock.now() + std::clamp(timeout, milliseconds{0}, longest);
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

class SimulatedVehicle : public VehicleInterface {
public:
    SimulatedVehicle(const VehicleDescription& description, Platform::Clock& clock) : clock(clock) {
        for (const auto& unit : description.controlUnits) {
            units.emplace(unit.link, std::make_shared<SharedControlUnit>(unit, clock));
        }
    }

    std::unique_ptr<VehicleLink> openLink(const std::wstring& logicalLink) override {
        const auto unit = units.find(logicalLink);
        if (unit == units.end()) {
            throw LinkError(L"the vehicle has no logical link \"" + logicalLink + L"\"");
        }
        return std::make_unique<SimulatedLink>(unit->second, clock);
    }

private:
    Platform::Clock& clock;
    /// By logical link; never changed after construction.
    std::map<std::wstring, std::shared_ptr<SharedControlUnit>> units;
};

} // namespace

std::shared_ptr<VehicleInterface> openSimulatedVehicle(const std::filesystem::path& vehicleFile,
                                                       Platform::Clock& clock) {
    return openSimulatedVehicle(readVehicleFile(vehicleFile), clock);
}

std::shared_ptr<VehicleInterface> openSimulatedVehicle(const VehicleDescription& description,
                                                       Platform::Clock& clock) {
    return std::make_shared<SimulatedVehicle>(description, clock);
}

} // namespace Quarlen::Kel_cpp
