#pragma once

#include <filesystem>
#include <memory>

#include "platform/Clock.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Simulation {

class SimulatedUnits;

/// The simulated vehicle stands for a real one behind `Uds::VehicleInterface`. VehicleFile.hpp
/// reads vehicle.xml into a `VehicleDescription`; the vehicle owns one `SimulatedControlUnit` for
/// each described control unit, and a connection hands each request to its control unit. There is
/// no thread here: the control unit computes its responses with their due times on the thread that
/// sends the request, and they are received when the clock reaches their due times.
///
/// The state of the vehicle (faults, sessions, memory) lives as long as it or a connection to it.
/// Several connections may be open at the same time. Safe from any thread.
class SimulatedVehicle {
public:
    /// `clock` must outlive the vehicle and its connections.
    SimulatedVehicle(const VehicleDescription& description, Platform::Clock& clock);

    /// A connection that is not open yet. A deliberate fault that loses the connection loses this
    /// one; the vehicle is there for the next.
    [[nodiscard]] std::shared_ptr<Uds::VehicleInterface> connect() const;

private:
    std::shared_ptr<SimulatedUnits> units;
};

/// The vehicle that a vehicle file describes. Throws `Xml::FileError` that names file, line, column
/// and what was expected.
[[nodiscard]] SimulatedVehicle openSimulatedVehicle(const std::filesystem::path& vehicleFile,
                                                    Platform::Clock& clock);

} // namespace Quarlen::Simulation
