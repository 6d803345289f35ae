#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "kel_cpp/projects/Project.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"
#include "platform/Clock.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "uds/Timing.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Kel_cpp {

/// The vehicle communication interfaces that this runtime knows by name: "Simulation", the vehicle
/// of the vehicle file, and "DoIP", a vehicle over Ethernet. Safe from any thread.
class VehicleInterfaces {
public:
    /// Makes the vehicle that "Simulation" stands for. Throws `Xml::FileError`.
    using OpenVehicle = std::function<Simulation::SimulatedVehicle(
        const std::filesystem::path& vehicleFile, Platform::Clock& clock)>;

    /// Makes a connection to that vehicle.
    using Connect =
        std::function<std::shared_ptr<Uds::VehicleInterface>(const Simulation::SimulatedVehicle&)>;

    /// `clock` must outlive this object and every interface that it makes.
    explicit VehicleInterfaces(Platform::Clock& clock, OpenVehicle openVehicle = openVehicleOfFile,
                               Connect connect = connectTo)
        : clock(clock), openVehicle(std::move(openVehicle)), connect(std::move(connect)) {}

    /// The vehicle as the file describes it.
    static Simulation::SimulatedVehicle openVehicleOfFile(const std::filesystem::path& vehicleFile,
                                                          Platform::Clock& clock);
    static std::shared_ptr<Uds::VehicleInterface>
    connectTo(const Simulation::SimulatedVehicle& vehicle) {
        return vehicle.connect();
    }

    /// The first enabled interface. Throws `KelApiException`: NoInterfaceEnabled; UnknownInterface
    /// when any enabled interface is unknown (the message names the first of them).
    [[nodiscard]] static InterfaceEntry enabled(const InterfaceSettings& settings);

    /// Whether `entry` is the first enabled interface, with the same parameters.
    [[nodiscard]] static bool isUsed(const InterfaceEntry& entry,
                                     const InterfaceSettings& settings) noexcept;

    /// Throws `KelApiException` (code UnknownInterface) for a control unit that another interface
    /// than `enabled` leads to.
    static void checkTargets(const VehicleInformation& information, const std::wstring& enabled);

    /// For how long the control units behind the enabled interface may be silent, where its
    /// parameters "p2", "p2Star" and "deltaP2" say so. Throws `KelApiException` (code
    /// Configuration) for a value that is no such time.
    [[nodiscard]] static Uds::Timing timing(const InterfaceSettings& settings);

    /// A connection over the interface of that name that is not open yet; "DoIP" has to be the
    /// first enabled one of the settings. Throws `KelApiException` (code Configuration) when a
    /// parameter or the vehicle file is wrong.
    [[nodiscard]] std::shared_ptr<Uds::VehicleInterface>
    make(const std::wstring& name, const InterfaceSettings& settings,
         const std::filesystem::path& vehicleFile);

private:
    Platform::Clock& clock;
    const OpenVehicle openVehicle;
    const Connect connect;
    std::mutex mutex;
    /// Kept once made, so that the state of the vehicle outlives each access.
    std::optional<Simulation::SimulatedVehicle> simulatedVehicle;
};

} // namespace Quarlen::Kel_cpp
