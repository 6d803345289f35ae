#include <array>
#include <limits>
#include <map>
#include <set>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/projects/FlashItemReader.hpp"
#include "kel_cpp/projects/ProcedureReader.hpp"
#include "kel_cpp/projects/ProjectStore.hpp"
#include "kel_cpp/projects/SecurityValues.hpp"
#include "kel_cpp/projects/Uniqueness.hpp"
#include "uds/Identifiers.hpp"
#include "xml/File.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr std::uint64_t maxKind = std::numeric_limits<std::int32_t>::max();
/// A tree takes some twenty times the memory of its text: room for the texts of 200,000 DTCs.
constexpr std::size_t maxFileSize = std::size_t{16} * 1024 * 1024;
constexpr std::int32_t controlUnit = 1;

std::optional<std::uint16_t> readAddress(const Xml::File& file, const pugi::xml_node& node,
                                         const char* attribute) {
    if (!node.attribute(attribute)) {
        return {};
    }
    return static_cast<std::uint16_t>(
        file.number(node, attribute, 1, std::numeric_limits<std::uint16_t>::max()));
}

void refuseWithoutLink(const Xml::File& file, const pugi::xml_node& node) {
    for (const char* const attribute :
         {"link", "address", "functionalAddress", "testerAddress", "interface"}) {
        if (node.attribute(attribute)) {
            file.failAttribute(node, attribute, L"only a target of kind 1 has a link");
        }
    }
}

ProjectTarget readTarget(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"kind", "name", "link", "address", "functionalAddress",
                               "testerAddress", "interface"});
    ProjectTarget target;
    target.kind = static_cast<std::int32_t>(file.number(node, "kind", 0, maxKind, controlUnit));
    target.name = file.requiredText(node, "name");
    if (target.kind == controlUnit) {
        target.link = file.requiredText(node, "link");
        target.address = readAddress(file, node, "address");
        target.functionalAddress = readAddress(file, node, "functionalAddress");
        target.testerAddress = readAddress(file, node, "testerAddress");
        target.interfaceName = file.optionalText(node, "interface");
    } else {
        refuseWithoutLink(file, node);
    }
    return target;
}

VehicleInformation readVehicleInformation(const Xml::File& file, const pugi::xml_node& node) {
    file.allowOnly(node, {"Target", "Procedure"}, {"name"});
    VehicleInformation information;
    information.name = file.requiredText(node, "name");
    information.targets = readNamed<ProjectTarget>(file, node, "Target", readTarget);
    UniqueNames names(file, "name");
    for (const auto procedure : node.children("Procedure")) {
        file.allowNoContent(procedure, {"name"});
        information.procedures.push_back(file.requiredText(procedure, "name"));
        names.add(procedure, information.procedures.back());
    }
    return information;
}

std::vector<IdentificationItem> readIdentification(const Xml::File& file) {
    const auto section = file.singleChild(file.root(), "Identification");
    file.allowOnly(section, {"DataIdentifier"}, {});
    Uniqueness<std::uint16_t> identifiers(file, "id");
    const auto readItem = [&](const Xml::File&, const pugi::xml_node& node) {
        file.allowNoContent(node, {"id", "name"});
        const auto id = static_cast<std::uint16_t>(
            file.number(node, "id", 0, std::numeric_limits<std::uint16_t>::max()));
        identifiers.add(node, id);
        return IdentificationItem{id, file.requiredText(node, "name")};
    };
    return readNamed<IdentificationItem>(file, section, "DataIdentifier", readItem);
}

UnlockParameter readUnlockParameter(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"name", "level", "keyMask"});
    return {file.requiredText(node, "name"), readSecurityLevel(file, node, "level"),
            readWord(file, node, "keyMask")};
}

UnlockProcedure readUnlock(const Xml::File& file, const pugi::xml_node& node) {
    file.allowOnly(node, {"Parameter"}, {"name", "link"});
    if (!node.child("Parameter")) {
        file.fail(node, L"\"Unlock\" needs at least one \"Parameter\"");
    }
    return {file.requiredText(node, "name"), file.requiredText(node, "link"),
            readNamed<UnlockParameter>(file, node, "Parameter", readUnlockParameter)};
}

std::vector<ExtendedDataItem> readExtendedData(const Xml::File& file) {
    constexpr std::uint64_t highestRecord = 0xEF;
    Uniqueness<std::uint16_t> numbers(file, "record");
    const auto readItem = [&](const Xml::File&, const pugi::xml_node& node) {
        file.allowNoContent(node, {"record", "name", "unit"});
        const auto number =
            static_cast<std::uint8_t>(file.number(node, "record", 1, highestRecord));
        numbers.add(node, number);
        ExtendedDataItem item{number, file.requiredText(node, "name")};
        if (node.attribute("unit")) {
            item.unit = file.optionalText(node, "unit");
        }
        return item;
    };
    return readNamed<ExtendedDataItem>(file, file.root(), "ExtendedData", readItem);
}

std::optional<MileageItem> readMileage(const Xml::File& file) {
    const auto node = file.singleChild(file.root(), "Mileage");
    if (!node) {
        return {};
    }
    file.allowNoContent(node, {"id", "unit"});
    return MileageItem{static_cast<std::uint16_t>(
                           file.number(node, "id", 0, std::numeric_limits<std::uint16_t>::max())),
                       file.requiredText(node, "unit")};
}

std::vector<DtcText> readDtcTexts(const Xml::File& file) {
    std::vector<DtcText> result;
    Uniqueness<std::uint32_t> codes(file, "code");
    for (const auto node : file.root().children("DtcText")) {
        file.allowNoContent(node, {"code", "text"});
        const auto code = static_cast<std::uint32_t>(file.hexNumber(node, "code", Uds::dtcDigits));
        codes.add(node, code);
        result.push_back({code, file.requiredText(node, "text")});
    }
    return result;
}

template <class Element>
std::set<std::wstring> namesOf(const std::vector<Element>& list) {
    std::set<std::wstring> names;
    for (const auto& element : list) {
        names.insert(element.name);
    }
    return names;
}

void checkProcedureNames(const Xml::File& file, const Project& project) {
    const auto known = namesOf(project.procedures);
    for (const auto information : file.root().children("VehicleInformation")) {
        for (const auto node : information.children("Procedure")) {
            if (!known.contains(file.requiredText(node, "name"))) {
                file.failValue(node, "name", L"the name of a procedure of this project");
            }
        }
    }
}

void checkFlashTargets(const Xml::File& file, const Project& project) {
    std::set<std::wstring> known;
    for (const auto& information : project.vehicleInformations) {
        for (const auto& target : information.targets) {
            if (target.kind == controlUnit) {
                known.insert(target.name);
            }
        }
    }
    for (const auto node : file.root().children("FlashItem")) {
        if (!known.contains(file.requiredText(node, "target"))) {
            file.failValue(node, "target", L"the name of a target of kind 1 of this project");
        }
    }
}

/// Who talks over a link means one control unit.
void checkAddresses(const Xml::File& file) {
    std::map<std::wstring, std::array<std::optional<std::uint16_t>, 3>> known;
    for (const auto information : file.root().children("VehicleInformation")) {
        for (const auto node : information.children("Target")) {
            const std::wstring link = file.optionalText(node, "link");
            const std::array<std::optional<std::uint16_t>, 3> addresses{
                readAddress(file, node, "address"), readAddress(file, node, "functionalAddress"),
                readAddress(file, node, "testerAddress")};
            if (known.try_emplace(link, addresses).first->second != addresses) {
                file.failAttribute(node, "link",
                                   L"link " + inQuotes(link) +
                                       L" has other addresses in another target");
            }
        }
    }
}

std::shared_ptr<const Project> readChecked(const Xml::File& file, const std::wstring& name) {
    const auto root = file.root();
    file.allowOnly(root,
                   {"VehicleInformation", "Procedure", "Identification", "ExtendedData", "Mileage",
                    "Unlock", "FlashItem", "DtcText"},
                   {"description"});
    auto project = std::make_shared<Project>();
    project->name = name;
    project->description = file.optionalText(root, "description");
    project->vehicleInformations =
        readNamed<VehicleInformation>(file, root, "VehicleInformation", readVehicleInformation);
    project->procedures = readNamed<OtxProcedure>(file, root, "Procedure", readProcedure);
    project->identification = readIdentification(file);
    project->extendedData = readExtendedData(file);
    project->mileage = readMileage(file);
    project->unlocks = readNamed<UnlockProcedure>(file, root, "Unlock", readUnlock);
    project->flashItems = readNamed<FlashItem>(file, root, "FlashItem", readFlashItem);
    project->dtcTexts = readDtcTexts(file);
    checkProcedureNames(file, *project);
    checkFlashTargets(file, *project);
    checkAddresses(file);
    return project;
}

} // namespace

std::shared_ptr<const Project> readProject(const std::filesystem::path& projectFile,
                                           const std::wstring& name) {
    return withFileErrors([&] {
        return readChecked(Xml::File(projectFile, "Project", Xml::limitsOfTree(maxFileSize)), name);
    });
}

} // namespace Quarlen::Kel_cpp
