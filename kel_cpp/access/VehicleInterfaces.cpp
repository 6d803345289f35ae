#include "kel_cpp/access/VehicleInterfaces.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <vector>

#include "doip/DoipInterface.hpp"
#include "kel_cpp/access/DoipParameters.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/InterfaceParameters.hpp"
#include "kel_cpp/base/RuntimeError.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::vector<std::wstring> enabledNames(const InterfaceSettings& settings) {
    std::vector<std::wstring> names;
    for (const auto& group : settings.groups) {
        for (const auto& entry : group->interfaces) {
            if (entry->enabled) {
                names.push_back(entry->name);
            }
        }
    }
    return names;
}

const InterfaceEntry* firstEnabled(const InterfaceSettings& settings) {
    for (const auto& group : settings.groups) {
        for (const auto& entry : group->interfaces) {
            if (entry->enabled) {
                return entry.get();
            }
        }
    }
    return nullptr;
}

void checkNames(const std::vector<std::wstring>& names) {
    if (names.empty()) {
        throw runtimeError(ErrorCode::NoInterfaceEnabled,
                           L"no vehicle communication interface is enabled");
    }
    const auto unknown = std::find_if(names.begin(), names.end(), [](const auto& name) {
        return name != simulationName && name != doipName;
    });
    if (unknown != names.end()) {
        throw runtimeError(ErrorCode::UnknownInterface,
                           L"the vehicle communication interface " + inQuotes(*unknown) +
                               L" is enabled, but this runtime has no interface of that name");
    }
}

} // namespace

Simulation::SimulatedVehicle
VehicleInterfaces::openVehicleOfFile(const std::filesystem::path& vehicleFile,
                                     Platform::Clock& clock) {
    return Simulation::openSimulatedVehicle(vehicleFile, clock);
}

InterfaceEntry VehicleInterfaces::enabled(const InterfaceSettings& settings) {
    checkNames(enabledNames(settings));
    return *firstEnabled(settings);
}

bool VehicleInterfaces::isUsed(const InterfaceEntry& entry,
                               const InterfaceSettings& settings) noexcept {
    const InterfaceEntry* const used = firstEnabled(settings);
    return used != nullptr && used->name == entry.name && used->parameters == entry.parameters;
}

void VehicleInterfaces::checkTargets(const VehicleInformation& information,
                                     const std::wstring& enabled) {
    for (const ProjectTarget& target : information.targets) {
        if (!target.interfaceName.empty() && target.interfaceName != enabled) {
            throw runtimeError(ErrorCode::UnknownInterface,
                               L"target " + inQuotes(target.name) + L" is reached over interface " +
                                   inQuotes(target.interfaceName) +
                                   L", which is not enabled: the enabled one is " +
                                   inQuotes(enabled));
        }
    }
}

Uds::Timing VehicleInterfaces::timing(const InterfaceSettings& settings) {
    Uds::Timing timing;
    const InterfaceEntry* const entry = firstEnabled(settings);
    if (entry == nullptr) {
        return timing;
    }
    const std::array<std::chrono::milliseconds*, interfaceTimes.size()> times{
        &timing.p2, &timing.p2Star, &timing.delta};
    for (std::size_t index = 0; index < times.size(); ++index) {
        *times[index] =
            interfaceTime(*entry, interfaceTimes[index].first, interfaceTimes[index].second)
                .value_or(*times[index]);
    }
    return timing;
}

std::shared_ptr<Uds::VehicleInterface>
VehicleInterfaces::make(const std::wstring& name, const InterfaceSettings& settings,
                        const std::filesystem::path& vehicleFile) {
    if (name == doipName) {
        return std::make_shared<Doip::DoipInterface>(doipSettings(*firstEnabled(settings)), clock);
    }
    const std::lock_guard lock(mutex);
    if (!simulatedVehicle) {
        simulatedVehicle = withFileErrors([&] { return openVehicle(vehicleFile, clock); });
    }
    return connect(*simulatedVehicle);
}

} // namespace Quarlen::Kel_cpp
