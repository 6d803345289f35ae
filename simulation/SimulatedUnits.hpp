#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Clock.hpp"
#include "simulation/SimulatedControlUnit.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Simulation {

/// A response on its way to the tester.
struct Arrival {
    Platform::Clock::TimePoint due;
    Uds::Received message;
};

/// The control units of one vehicle, which all connections to it share. Safe from any thread.
class SimulatedUnits {
public:
    SimulatedUnits(const VehicleDescription& description, Platform::Clock& clock);

    [[nodiscard]] Platform::Clock& clock() const noexcept { return time; }

    /// Looks for the physical address, then for the link. Throws `Uds::LinkError`.
    [[nodiscard]] Uds::UnitAddress resolve(const Uds::UnitAddress& unit) const;

    /// True when a control unit has this physical address.
    [[nodiscard]] bool has(std::uint16_t address) const { return units.contains(address); }
    /// The physical addresses of all.
    [[nodiscard]] std::vector<std::uint16_t> addresses() const;

    /// The responses of the control unit, whose work takes longer by `extraWork`. Throws
    /// `Uds::ConnectionLost` for a described fault that loses the connection, `InputFull` for one
    /// that keeps the request from being taken.
    [[nodiscard]] std::vector<TimedResponse> ask(std::uint16_t address, const Uds::Bytes& request,
                                                 std::chrono::milliseconds extraWork = {});
    /// The responses of all. A control unit that cannot do what was asked of everybody keeps quiet
    /// (ISO 14229-1:2020, table 5).
    [[nodiscard]] std::vector<Arrival> askAll(const Uds::Bytes& request,
                                              std::chrono::milliseconds extraWork = {});

private:
    struct Unit {
        Unit(const ControlUnitDescription& description, Platform::Clock& clock)
            : link(description.link), server(description, clock) {}

        const std::wstring link;
        std::mutex mutex;
        SimulatedControlUnit server;
    };

    static std::vector<TimedResponse> responsesOf(Unit& unit, const Uds::Bytes& request,
                                                  std::chrono::milliseconds extraWork);

    Platform::Clock& time;
    /// By address; never changed after construction.
    std::map<std::uint16_t, std::unique_ptr<Unit>> units;
};

} // namespace Quarlen::Simulation
