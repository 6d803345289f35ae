#include "tools/kelctl/dryrun/DerivedVehicle.hpp"

#include <algorithm>
#include <map>
#include <set>
#include <variant>

#include "kel_cpp/projects/ProjectStore.hpp"
#include "kel_server_lib/runtime/KelApiException.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/ProjectVin.hpp"
#include "tools/kelctl/dryrun/DerivedControlUnit.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Ctl {

namespace {

using Kel_cpp::Project;
using ProjectPointer = std::shared_ptr<const Project>;
using Simulation::ControlUnitDescription;

constexpr std::wstring_view autoSelect = L"AUTO_SELECT";
constexpr const wchar_t* vinReader = L"VIN_Reader";
constexpr const wchar_t* plainVin = L"SIM00000000000001";

/// Null for a project that is missing or malformed: the run itself says so.
ProjectPointer loadOrNull(const std::filesystem::path& folder, const std::wstring& name) {
    try {
        return Kel_cpp::loadProject(folder, name);
    } catch (const Kel_cpp::KelApiException&) {
        return nullptr;
    }
}

std::vector<std::wstring> namesIn(const std::filesystem::path& folder) {
    try {
        return Kel_cpp::listProjects(folder);
    } catch (const Kel_cpp::KelApiException&) {
        return {};
    }
}

/// The projects that a script names, and the identification number that leads to them.
class NamedProjects {
public:
    NamedProjects(const Config::CfxKelServerScript& script, const std::filesystem::path& folder)
        : folder(folder) {
        for (std::uint64_t index = 0; index < script.actionCount(); ++index) {
            if (const auto* const action =
                    Config::as<Config::CfxSelectAction>(script.action(index))) {
                take(*action);
            }
        }
        // Last, so that its control units have the names that the other projects give them.
        if (asksForVin) {
            add(loadOrNull(folder, vinReader));
        }
    }

    [[nodiscard]] const std::vector<ProjectPointer>& projects() const { return found; }
    [[nodiscard]] std::wstring vin() const {
        if (!vinOfCar.empty() || found.empty()) {
            return vinOfCar.empty() ? plainVin : vinOfCar;
        }
        const std::wstring fitting = vinForProject(found.front()->name);
        return fitting.empty() ? plainVin : fitting;
    }

private:
    void take(const Config::CfxSelectAction& action) {
        if (action.project != autoSelect) {
            add(action.project.empty() ? nullptr : loadOrNull(folder, action.project));
            return;
        }
        asksForVin = true;
        if (vinOfCar.empty()) {
            selectByVin(action.vehicleInformation);
        }
    }

    /// The first project that a number can lead to and that has the vehicle information.
    void selectByVin(const std::wstring& information) {
        const std::vector<std::wstring> names = namesIn(folder);
        for (const std::wstring& name : names) {
            const auto project = name == vinReader || !isFoundByVin(names, name)
                                     ? nullptr
                                     : loadOrNull(folder, name);
            if (project && project->findVehicleInformation(information) != nullptr) {
                vinOfCar = vinForProject(name);
                add(project);
                return;
            }
        }
    }

    void add(ProjectPointer project) {
        if (project && names.insert(project->name).second) {
            found.push_back(std::move(project));
        }
    }

    const std::filesystem::path& folder;
    std::vector<ProjectPointer> found;
    std::set<std::wstring> names;
    std::wstring vinOfCar;
    bool asksForVin = false;
};

class VehicleBuilder {
public:
    VehicleBuilder(const std::wstring& vin, const std::filesystem::path& flashData)
        : flashData(flashData) {
        vehicle.vin = vin;
    }

    /// Before anything else of any project: the first one that says the address of a link counts.
    void noteAddresses(const Project& project) {
        for (const auto& information : project.vehicleInformations) {
            for (const auto& target : information.targets) {
                if (target.address) {
                    addresses.try_emplace(target.link, *target.address);
                }
            }
        }
    }

    void add(const Project& project) {
        for (const auto& information : project.vehicleInformations) {
            for (const auto& target : information.targets) {
                if (!target.link.empty()) {
                    identify(unitOf(target.link, target.name), project);
                }
            }
        }
        for (const auto& unlock : project.unlocks) {
            for (const auto& parameter : unlock.parameters) {
                addSecurityLevel(unitOf(unlock.link, unlock.link), parameter.level,
                                 parameter.keyMask);
            }
        }
        for (const auto& item : project.flashItems) {
            forEachUnitOf(project, item, [&](ControlUnitDescription& unit) {
                addSecurityLevel(unit, item.securityLevel, item.keyMask);
                addFlashMemory(unit, item, flashData);
            });
        }
    }

    /// After the parts of all projects that have a state.
    void addAnswers(const Project& project) {
        for (const auto& procedure : project.procedures) {
            for (const auto& step : procedure.steps) {
                if (const auto* const request = std::get_if<Kel_cpp::UdsStep>(&step)) {
                    addAnswer(unitOf(request->link, request->link), *request);
                }
            }
        }
        for (const auto& item : project.flashItems) {
            forEachUnitOf(project, item,
                          [&](ControlUnitDescription& unit) { addFlashSteps(unit, item); });
        }
    }

    Simulation::VehicleDescription take() { return std::move(vehicle); }

private:
    ControlUnitDescription& unitOf(const std::wstring& link, const std::wstring& name) {
        auto& units = vehicle.controlUnits;
        const auto found = std::find_if(units.begin(), units.end(),
                                        [&](const auto& unit) { return unit.link == link; });
        if (found != units.end()) {
            return *found;
        }
        const bool isTaken = std::any_of(units.begin(), units.end(),
                                         [&](const auto& unit) { return unit.name == name; });
        ControlUnitDescription unit;
        unit.name = isTaken ? link : name;
        unit.link = link;
        unit.address = addressFor(link);
        unit.responseDelay = std::chrono::milliseconds(2);
        units.push_back(std::move(unit));
        addIdentifier(units.back(), Uds::Did::vin, {vehicle.vin.begin(), vehicle.vin.end()});
        return units.back();
    }

    [[nodiscard]] bool isInUse(std::uint16_t address) const {
        return std::any_of(vehicle.controlUnits.begin(), vehicle.controlUnits.end(),
                           [&](const auto& unit) { return unit.address == address; });
    }

    /// What no project says is none of the addresses that one says: the runtime looks for a control
    /// unit by its address first.
    [[nodiscard]] std::uint16_t addressFor(const std::wstring& link) const {
        const auto said = addresses.find(link);
        if (said != addresses.end() && !isInUse(said->second)) {
            return said->second;
        }
        const auto isSaid = [&](std::uint16_t address) {
            return std::any_of(addresses.begin(), addresses.end(),
                               [&](const auto& entry) { return entry.second == address; });
        };
        std::uint16_t address = 0x0010;
        while (isInUse(address) || isSaid(address)) {
            ++address;
        }
        return address;
    }

    static void identify(ControlUnitDescription& unit, const Project& project) {
        for (const auto& item : project.identification) {
            addIdentifier(unit, item.dataIdentifier, {});
        }
    }

    /// Each vehicle information may have the flash item's control unit on another link.
    template <class Use>
    void forEachUnitOf(const Project& project, const Kel_cpp::FlashItem& item, Use use) {
        std::set<std::wstring> links;
        for (const auto& information : project.vehicleInformations) {
            for (const auto& target : information.targets) {
                if (target.name == item.target && !target.link.empty() &&
                    links.insert(target.link).second) {
                    use(unitOf(target.link, target.name));
                }
            }
        }
    }

    const std::filesystem::path& flashData;
    /// By link, as the projects say them.
    std::map<std::wstring, std::uint16_t> addresses;
    Simulation::VehicleDescription vehicle;
};

} // namespace

Simulation::VehicleDescription deriveVehicle(const Config::CfxKelServerScript& script,
                                             const ProjectFolders& folders) {
    const NamedProjects named(script, folders.projects);
    return deriveVehicle(named.projects(), named.vin(), folders.flashData);
}

Simulation::VehicleDescription deriveVehicle(const std::vector<ProjectPointer>& projects,
                                             const std::wstring& vin,
                                             const std::filesystem::path& flashData) {
    VehicleBuilder builder(vin, flashData);
    for (const ProjectPointer& project : projects) {
        builder.noteAddresses(*project);
    }
    for (const ProjectPointer& project : projects) {
        builder.add(*project);
    }
    for (const ProjectPointer& project : projects) {
        builder.addAnswers(*project);
    }
    return builder.take();
}

} // namespace Quarlen::Ctl
