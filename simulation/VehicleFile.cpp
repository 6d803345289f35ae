#include "simulation/VehicleFile.hpp"

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/TextEncoding.hpp"
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

/// Nothing when the text is not six pairs of hexadecimal digits between colons.
std::optional<EntityIdentifier> identifierIn(const std::wstring& text) {
    constexpr std::size_t pairLength = 3;
    constexpr std::wstring_view digits = L"0123456789abcdefABCDEF";
    EntityIdentifier identifier{};
    if (text.size() != identifier.size() * pairLength - 1) {
        return {};
    }
    for (std::size_t index = 0; index < identifier.size(); ++index) {
        const std::size_t place = index * pairLength;
        const auto number = Xml::numberIn("0x" + Platform::toUtf8(text.substr(place, 2)), 0, 0xFF);
        const bool isPair = text.substr(place, 2).find_first_not_of(digits) == std::wstring::npos;
        const bool isSeparated = index + 1 == identifier.size() || text[place + 2] == L':';
        if (!number || !isPair || !isSeparated) {
            return {};
        }
        identifier.at(index) = static_cast<std::uint8_t>(*number);
    }
    return identifier;
}

EntityIdentifier readIdentifier(const Xml::File& file, const char* attribute,
                                const EntityIdentifier& fallback) {
    if (!file.root().attribute(attribute)) {
        return fallback;
    }
    const auto identifier = identifierIn(file.optionalText(file.root(), attribute));
    if (!identifier) {
        file.failValue(file.root(), attribute,
                       L"six pairs of hexadecimal digits between colons, as 02:00:00:00:00:01");
    }
    return *identifier;
}

/// The addresses that the standard leaves to the manufacturer's control units (ISO 13400-2:2019,
/// table 13): testers have 0x0E00 to 0x0FFF.
std::uint16_t readGatewayAddress(const Xml::File& file, std::uint16_t fallback) {
    constexpr std::uint64_t firstOfTesters = 0x0E00;
    constexpr std::uint64_t lastOfTesters = 0x0FFF;
    constexpr std::uint64_t last = 0x7FFF;
    const auto address = file.number(file.root(), "gatewayAddress", 1, last, fallback);
    if (address >= firstOfTesters && address <= lastOfTesters) {
        file.failValue(file.root(), "gatewayAddress",
                       L"a number outside 0x0E00 to 0x0FFF, which are addresses of testers");
    }
    return static_cast<std::uint16_t>(address);
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
    file.allowOnly(file.root(), {"ControlUnit"}, {"vin", "gatewayAddress", "eid", "gid"});
    VehicleDescription vehicle;
    vehicle.vin = readVin(file);
    vehicle.gatewayAddress = readGatewayAddress(file, vehicle.gatewayAddress);
    vehicle.eid = readIdentifier(file, "eid", vehicle.eid);
    vehicle.gid = readIdentifier(file, "gid", vehicle.eid);
    UniqueUnits unique(file);
    for (const auto& node : file.root().children("ControlUnit")) {
        vehicle.controlUnits.push_back(readControlUnit(file, node, vehicle.vin));
        unique.add(node, vehicle.controlUnits.back());
    }
    return vehicle;
}

} // namespace Quarlen::Simulation
