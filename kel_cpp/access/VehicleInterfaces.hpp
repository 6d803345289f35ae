#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "kel_server_lib/runtime/SettingsRecords.hpp"
#include "platform/Clock.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// The vehicle communication interfaces that this runtime knows by name. So far there is one:
/// "Simulation", the vehicle of the vehicle file. Safe from any thread.
class VehicleInterfaces {
public:
    /// Opens the vehicle that "Simulation" stands for. Throws `Xml::FileError`.
    using OpenVehicle = std::function<std::shared_ptr<Uds::VehicleInterface>(
        const std::filesystem::path& vehicleFile, Platform::Clock& clock)>;

    /// `clock` must outlive this object and every interface that it opens.
    explicit VehicleInterfaces(Platform::Clock& clock, OpenVehicle openVehicle = openVehicleOfFile)
        : clock(clock), openVehicle(std::move(openVehicle)) {}

    /// The vehicle as the file describes it.
    static std::shared_ptr<Uds::VehicleInterface>
    openVehicleOfFile(const std::filesystem::path& vehicleFile, Platform::Clock& clock);

    struct Opened {
        std::wstring name;
        std::shared_ptr<Uds::VehicleInterface> vehicleInterface;
    };

    /// Looks at the enabled interfaces in order and opens the first. Throws `KelApiException`:
    /// NoInterfaceEnabled; UnknownInterface when any enabled interface is unknown (the message
    /// names the first of them); Configuration when the vehicle file is wrong.
    Opened openEnabled(const InterfaceSettings& settings, const std::filesystem::path& vehicleFile);

private:
    std::shared_ptr<Uds::VehicleInterface> simulation(const std::filesystem::path& vehicleFile);

    Platform::Clock& clock;
    const OpenVehicle openVehicle;
    std::mutex mutex;
    /// Kept once opened, so that the state of the vehicle outlives each access.
    std::shared_ptr<Uds::VehicleInterface> simulatedVehicle;
};

} // namespace Quarlen::Kel_cpp
