#include "simulation/VehicleFile.hpp"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include "simulation/ControlUnitReader.hpp"

namespace Quarlen::Simulation {

namespace {

/// A tree takes some twenty times the memory of its text: room for 256 control units with their
/// DTCs.
constexpr std::size_t maxFileSize = std::size_t{16} * 1024 * 1024;
constexpr std::size_t maxControlUnits = 256;
constexpr std::size_t maxFaultsOfVehicle = 10'000;
constexpr std::size_t maxFlashMemoriesOfVehicle = 1000;

std::wstring readVin(const Xml::File& file) {
    constexpr std::size_t maxVinLength = 17;
    auto vin = file.requiredText(file.root(), "vin");
    const bool plain = std::all_of(vin.begin(), vin.end(), [](wchar_t unit) {
        return (unit >= L'0' && unit <= L'9') || (unit >= L'A' && unit <= L'Z');
    });
    if (!plain || vin.size() > maxVinLength) {
        file.failAttribute(file.root(), "vin",
                           L"attribute \"vin\" is \"" + vin +
                               L"\", expected up to 17 digits and capital letters");
    }
    return vin;
}

/// Checks that the control units of one vehicle are distinct and within the limits of a vehicle.
class UniqueUnits {
public:
    explicit UniqueUnits(const Xml::File& file) : file(file) {}

    void add(const pugi::xml_node& node, const ControlUnitDescription& unit) {
        claim(names, unit.name, node, "name");
        claim(links, unit.link, node, "link");
        claim(addresses, unit.address, node, "address");
        for (const auto& memory : unit.flashMemories) {
            memorySize += memory.size;
        }
        memories += unit.flashMemories.size();
        faults += unit.faults.size();
        checkTotals(node);
    }

private:
    void checkTotals(const pugi::xml_node& node) const {
        constexpr std::uint64_t maxMemorySize = std::uint64_t{256} * 1024 * 1024;
        if (memorySize > maxMemorySize) {
            file.fail(node, L"the vehicle has more flash memory than expected, at most 256 MiB");
        }
        if (memories > maxFlashMemoriesOfVehicle) {
            file.fail(node, L"the vehicle has more flash memories than expected, at most 1000");
        }
        if (faults > maxFaultsOfVehicle) {
            file.fail(node, L"the vehicle has more faults than expected, at most 10000");
        }
        if (names.size() > maxControlUnits) {
            file.fail(node, L"more control units than expected, at most 256");
        }
    }

    template <typename Value>
    void claim(std::set<Value>& taken, const Value& value, const pugi::xml_node& node,
               const char* attribute) const {
        if (!taken.insert(value).second) {
            file.failAttribute(node, attribute,
                               L"another ControlUnit has this " +
                                   std::wstring(attribute, attribute + std::strlen(attribute)) +
                                   L", expected one of its own");
        }
    }

    const Xml::File& file;
    std::set<std::wstring> names;
    std::set<std::wstring> links;
    std::set<std::uint16_t> addresses;
    std::uint64_t memorySize = 0;
    std::size_t memories = 0;
    std::size_t faults = 0;
};

} // namespace

VehicleDescription readVehicleFile(const std::filesystem::path& path) {
    const Xml::File file(path, "Vehicle", Xml::limitsOfTree(maxFileSize));
    file.allowOnly(file.root(), {"ControlUnit"}, {"vin"});
    VehicleDescription vehicle;
    vehicle.vin = readVin(file);
    UniqueUnits unique(file);
    for (const auto& node : file.root().children("ControlUnit")) {
        vehicle.controlUnits.push_back(readControlUnit(file, node, vehicle.vin));
        unique.add(node, vehicle.controlUnits.back());
    }
    return vehicle;
}

} // namespace Quarlen::Simulation
