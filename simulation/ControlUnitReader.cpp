#include "simulation/ControlUnitReader.hpp"

#include <limits>
#include <set>
#include <utility>

#include "platform/TextEncoding.hpp"
#include "simulation/DtcReader.hpp"
#include "simulation/FaultReader.hpp"
#include "simulation/FlashRegions.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

using std::chrono::milliseconds;

/// With this limit the response to 0x19 0x0A fits into one ISO-TP message.
constexpr std::size_t maxDtcs = 1000;
constexpr std::size_t maxValueLength = 4000;
constexpr std::size_t maxFaults = 1000;
constexpr std::size_t maxFlashMemories = 64;
constexpr std::uint64_t maxMilliseconds = 60000;
constexpr std::uint32_t maxMemorySize = 64U * 1024U * 1024U;

class ControlUnitReader {
public:
    ControlUnitReader(const Xml::File& file, const std::wstring& vin) : file(file), vin(vin) {}

    ControlUnitDescription read(const pugi::xml_node& node);

private:
    void readSecurityLevel(const pugi::xml_node& node);
    void readDataIdentifier(const pugi::xml_node& node);
    void readOneDtc(const pugi::xml_node& node);
    void readRoutine(const pugi::xml_node& node);
    void readFlashMemory(const pugi::xml_node& node);
    void readOneFault(const pugi::xml_node& node);

    [[nodiscard]] Uds::Bytes readValue(const pugi::xml_node& node) const;
    [[nodiscard]] ProgrammingFrom readProgrammingFrom(const pugi::xml_node& node) const;
    [[nodiscard]] AccessRequirement readAccess(const pugi::xml_node& node) const;
    [[nodiscard]] std::uint8_t readLevelReference(const pugi::xml_node& node,
                                                  std::uint8_t fallback) const;
    [[nodiscard]] milliseconds readDuration(const pugi::xml_node& node,
                                            const char* attribute) const;
    [[nodiscard]] std::uint8_t readByte(const pugi::xml_node& node, const char* attribute,
                                        std::uint8_t fallback) const {
        constexpr auto highest = std::numeric_limits<std::uint8_t>::max();
        return static_cast<std::uint8_t>(file.number(node, attribute, 0, highest, fallback));
    }
    template <typename Number>
    [[nodiscard]] Number number(const pugi::xml_node& node, const char* attribute, Number min = 0,
                                Number max = std::numeric_limits<Number>::max()) const {
        return static_cast<Number>(file.number(node, attribute, min, max));
    }
    template <typename Number>
    void claim(std::set<Number>& taken, Number value, const pugi::xml_node& node,
               const char* attribute) const {
        if (!taken.insert(value).second) {
            file.failAttribute(node, attribute,
                               L"the control unit has this one already, expected each only once");
        }
    }

    const Xml::File& file;
    const std::wstring& vin;
    ControlUnitDescription unit;
    std::set<std::uint8_t> levels;
    std::set<std::uint16_t> identifiers;
    std::set<std::uint32_t> codes;
    std::set<std::uint16_t> routines;
    FlashRegions regions{file};
};

/// Reads the security levels first, because elements before and after them refer to them.
ControlUnitDescription ControlUnitReader::read(const pugi::xml_node& node) {
    file.allowOnly(node,
                   {"DataIdentifier", "Dtc", "SecurityLevel", "Routine", "FlashMemory", "Fault"},
                   {"name", "address", "link", "responseDelay", "bootTime", "programmingFrom",
                    "dtcFormat", "statusAvailability"});
    unit.name = file.requiredText(node, "name");
    unit.address = number<std::uint16_t>(node, "address");
    unit.link = file.requiredText(node, "link");
    unit.responseDelay = readDuration(node, "responseDelay");
    unit.bootTime = readDuration(node, "bootTime");
    unit.programmingFrom = readProgrammingFrom(node);
    unit.dtcFormat = readByte(node, "dtcFormat", unit.dtcFormat);
    unit.statusAvailability = readByte(node, "statusAvailability", unit.statusAvailability);
    const auto each = [&](const char* element,
                          void (ControlUnitReader::*readOne)(const pugi::xml_node& child)) {
        for (const auto& child : node.children(element)) {
            (this->*readOne)(child);
        }
    };
    each("SecurityLevel", &ControlUnitReader::readSecurityLevel);
    each("DataIdentifier", &ControlUnitReader::readDataIdentifier);
    each("Dtc", &ControlUnitReader::readOneDtc);
    each("Routine", &ControlUnitReader::readRoutine);
    each("FlashMemory", &ControlUnitReader::readFlashMemory);
    each("Fault", &ControlUnitReader::readOneFault);
    return std::move(unit);
}

void ControlUnitReader::readSecurityLevel(const pugi::xml_node& node) {
    file.allowNoContent(node, {"level", "keyMask"});
    SecurityLevelDescription level;
    level.level = number<std::uint8_t>(node, "level", 1, Uds::maxSecurityLevel);
    if (level.level % 2 == 0) {
        file.failAttribute(node, "level",
                           L"attribute \"level\" is even, expected an odd security level");
    }
    level.keyMask = number<std::uint32_t>(node, "keyMask");
    claim(levels, level.level, node, "level");
    unit.securityLevels.push_back(level);
}

void ControlUnitReader::readDataIdentifier(const pugi::xml_node& node) {
    file.allowNoContent(node, {"id", "text", "bytes", "vin", "writable", "controllable", "session",
                               "securityLevel"});
    DataIdentifierDescription identifier;
    identifier.id = number<std::uint16_t>(node, "id");
    identifier.value = readValue(node);
    identifier.writable = file.flag(node, "writable", false);
    identifier.controllable = file.flag(node, "controllable", false);
    identifier.writeAccess = readAccess(node);
    claim(identifiers, identifier.id, node, "id");
    unit.dataIdentifiers.push_back(std::move(identifier));
}

void ControlUnitReader::readOneDtc(const pugi::xml_node& node) {
    auto dtc = readDtc(file, node);
    claim(codes, dtc.code, node, "code");
    unit.dtcs.push_back(std::move(dtc));
    if (unit.dtcs.size() > maxDtcs) {
        file.fail(node, L"more DTCs than expected, at most 1000 in one control unit");
    }
}

void ControlUnitReader::readRoutine(const pugi::xml_node& node) {
    file.allowNoContent(node, {"id", "result", "duration", "session", "securityLevel"});
    RoutineDescription routine;
    routine.id = number<std::uint16_t>(node, "id");
    if (routine.id == Uds::Routine::eraseMemory || routine.id == Uds::Routine::checkMemory) {
        file.failAttribute(node, "id",
                           L"this routine belongs to a FlashMemory, expected another number");
    }
    if (node.attribute("result")) {
        routine.result = file.bytes(node, "result");
    }
    routine.duration = readDuration(node, "duration");
    routine.access = readAccess(node);
    claim(routines, routine.id, node, "id");
    unit.routines.push_back(std::move(routine));
}

void ControlUnitReader::readFlashMemory(const pugi::xml_node& node) {
    file.allowNoContent(node, {"address", "size", "blockLength", "eraseDuration", "securityLevel",
                               "softwareVersion"});
    FlashMemoryDescription memory;
    memory.address = number<std::uint32_t>(node, "address");
    memory.size = number<std::uint32_t>(node, "size", 1, maxMemorySize);
    memory.blockLength = static_cast<std::uint32_t>(
        file.number(node, "blockLength", 8, std::uint64_t{1024} * 1024, 4096));
    memory.eraseDuration = readDuration(node, "eraseDuration");
    memory.securityLevel = readLevelReference(node, 1);
    unit.flashMemories.push_back(memory);
    if (unit.flashMemories.size() > maxFlashMemories) {
        file.fail(node, L"more flash memories than expected, at most 64 in one control unit");
    }
    regions.add(node, memory);
    if (node.attribute("softwareVersion")) {
        claim(identifiers, Uds::Did::softwareVersion, node, "softwareVersion");
        const auto version = Platform::toUtf8(file.requiredText(node, "softwareVersion"));
        unit.dataIdentifiers.push_back(
            {Uds::Did::softwareVersion, Uds::Bytes(version.begin(), version.end()), false, {}});
    }
}

void ControlUnitReader::readOneFault(const pugi::xml_node& node) {
    unit.faults.push_back(readFault(file, node));
    if (unit.faults.size() > maxFaults) {
        file.fail(node, L"more faults than expected, at most 1000 in one control unit");
    }
}

Uds::Bytes ControlUnitReader::readValue(const pugi::xml_node& node) const {
    const bool hasText = node.attribute("text");
    const bool hasBytes = node.attribute("bytes");
    const bool hasVin = file.flag(node, "vin", false);
    if (int{hasText} + int{hasBytes} + int{hasVin} != 1) {
        file.fail(node, L"a DataIdentifier has its value from one of the attributes, expected "
                        L"\"text\", \"bytes\" or vin=\"true\"");
    }
    Uds::Bytes value;
    if (hasBytes) {
        value = file.bytes(node, "bytes");
    } else {
        const auto text = Platform::toUtf8(hasVin ? vin : file.requiredText(node, "text"));
        value.assign(text.begin(), text.end());
    }
    if (value.size() > maxValueLength) {
        file.fail(node, L"the value is too long, expected at most 4000 bytes");
    }
    return value;
}

ProgrammingFrom ControlUnitReader::readProgrammingFrom(const pugi::xml_node& node) const {
    const auto session = file.optionalText(node, "programmingFrom");
    if (node.attribute("programmingFrom") && session != L"any" && session != L"extended") {
        file.failValue(node, "programmingFrom", L"any or extended");
    }
    return session == L"extended" ? ProgrammingFrom::Extended : ProgrammingFrom::AnySession;
}

AccessRequirement ControlUnitReader::readAccess(const pugi::xml_node& node) const {
    AccessRequirement access;
    access.securityLevel = readLevelReference(node, 0);
    const auto session = file.optionalText(node, "session");
    if (session == L"extended") {
        access.session = Uds::Session::Extended;
    } else if (session == L"programming") {
        access.session = Uds::Session::Programming;
    } else if (node.attribute("session") && session != L"default") {
        file.failAttribute(node, "session",
                           L"attribute \"session\" is \"" + session +
                               L"\", expected default, extended or programming");
    }
    return access;
}

std::uint8_t ControlUnitReader::readLevelReference(const pugi::xml_node& node,
                                                   std::uint8_t fallback) const {
    const auto level = static_cast<std::uint8_t>(
        file.number(node, "securityLevel", 0, Uds::maxSecurityLevel, fallback));
    if (level != 0 && !levels.contains(level)) {
        file.failAttribute(node, "securityLevel",
                           L"the control unit has no security level " + std::to_wstring(level) +
                               L", expected the level of one of its SecurityLevel elements or 0");
    }
    return level;
}

milliseconds ControlUnitReader::readDuration(const pugi::xml_node& node,
                                             const char* attribute) const {
    return milliseconds{file.number(node, attribute, 0, maxMilliseconds, 0)};
}

} // namespace

ControlUnitDescription readControlUnit(const Xml::File& file, const pugi::xml_node& node,
                                       const std::wstring& vin) {
    return ControlUnitReader(file, vin).read(node);
}

} // namespace Quarlen::Simulation
