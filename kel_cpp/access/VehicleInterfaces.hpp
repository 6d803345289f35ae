#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include "kel_cpp/access/VehicleAccess.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"
#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// The vehicle communication interfaces that this runtime knows by name. So far there is one:
/// "Simulation", the vehicle of the vehicle file. Safe from any thread.
class VehicleInterfaces {
public:
    /// `clock` must outlive this and every interface that it opens.
    explicit VehicleInterfaces(Platform::Clock& clock) : clock(clock) {}

    struct Opened {
        std::wstring name;
        std::shared_ptr<VehicleInterface> vehicleInterface;
    };

    /// Looks at the enabled interfaces in order and opens the first. Throws `KelApiException`:
    /// NoInterfaceEnabled; UnknownInterface with the name of the first enabled one that is unknown
    /// here, wherever it stands; Configuration when the vehicle file is wrong.
    Opened openEnabled(const InterfaceSettings& settings, const std::filesystem::path& vehicleFile);

private:
    std::shared_ptr<VehicleInterface> simulation(const std::filesystem::path& vehicleFile);

    Platform::Clock& clock;
    std::mutex mutex;
    /// Kept once opened: the vehicle's state outlives each access to it.
    std::shared_ptr<VehicleInterface> simulatedVehicle;
};

} // namespace Quarlen::Kel_cpp
