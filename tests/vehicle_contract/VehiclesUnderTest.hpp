#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulation/VehicleDescription.hpp"
#include "tests/vehicle_contract/NetworkClock.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Tests {

/// A vehicle behind one way to it.
struct VehicleUnderTest {
    using Connections = std::function<std::shared_ptr<Uds::VehicleInterface>()>;

    std::string name;
    /// How long at most somebody waits who sends a message that nobody takes.
    std::chrono::milliseconds patience;
    /// The vehicle that the description says, deliberate faults included: one that loses the link
    /// cuts the connection, and one with a full input keeps the vehicle from taking any message.
    /// Each call of the result makes a connection to it that is not open yet.
    std::function<Connections(const Simulation::VehicleDescription& description,
                              NetworkClock& clock)>
        make;
};

/// Every implementation of `Uds::VehicleInterface`.
std::vector<VehicleUnderTest> vehiclesUnderTest();

} // namespace Quarlen::Tests
