#include "kel_cpp/access/Selection.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"

namespace Quarlen::Kel_cpp {

namespace {

void closeAccess(const std::shared_ptr<VehicleAccess>& access) {
    if (access) {
        access->close();
    }
}

bool stepUses(const OtxStep& step, const std::wstring& logicalLink) {
    const auto* const exchange = std::get_if<UdsStep>(&step);
    return exchange != nullptr && exchange->link == logicalLink;
}

} // namespace

std::vector<ProjectTarget> controlUnits(const VehicleInformation& information) {
    std::vector<ProjectTarget> found;
    std::copy_if(information.targets.begin(), information.targets.end(), std::back_inserter(found),
                 [](const auto& target) { return target.kind == TargetEntry::controlUnitKind; });
    return found;
}

const ProjectTarget* findControlUnit(const VehicleInformation& information,
                                     const std::wstring& name) {
    const auto found = std::find_if(
        information.targets.begin(), information.targets.end(), [&](const auto& target) {
            return target.kind == TargetEntry::controlUnitKind && target.name == name;
        });
    return found == information.targets.end() ? nullptr : &*found;
}

bool knowsLink(const Project& project, const std::wstring& logicalLink) {
    const auto isLink = [&](const auto& user) { return user.link == logicalLink; };
    const auto any = [](const auto& list, const auto& matches) {
        return std::any_of(list.begin(), list.end(), matches);
    };
    return !logicalLink.empty() &&
           (any(project.vehicleInformations,
                [&](const auto& information) { return any(information.targets, isLink); }) ||
            any(project.unlocks, isLink) || any(project.procedures, [&](const auto& procedure) {
                return any(procedure.steps,
                           [&](const auto& step) { return stepUses(step, logicalLink); });
            }));
}

std::wstring connectionText(const SelectedVehicle& vehicle, const std::wstring& interfaceName) {
    return L"vehicle of project " + vehicle.project->name + L" over " + interfaceName;
}

SelectedVehicle Selection::current() const {
    const std::lock_guard lock(mutex);
    return selected;
}

SelectedVehicle Selection::withProject() const {
    SelectedVehicle vehicle = current();
    if (!vehicle.project) {
        throw runtimeError(ErrorCode::NoProjectSelected, L"no project is selected");
    }
    return vehicle;
}

SelectedVehicle Selection::withInformation() const {
    SelectedVehicle vehicle = withProject();
    if (vehicle.information == nullptr) {
        throw runtimeError(ErrorCode::NoVehicleInformationSelected,
                           L"no vehicle information of project " + inQuotes(vehicle.project->name) +
                               L" is selected");
    }
    return vehicle;
}

SelectedVehicle Selection::withAccess() const {
    SelectedVehicle vehicle = withInformation();
    if (!vehicle.access) {
        throw runtimeError(ErrorCode::NotConnected, L"the vehicle of project " +
                                                        inQuotes(vehicle.project->name) +
                                                        L" is not connected");
    }
    if (const std::wstring cause = vehicle.access->lossCause(); !cause.empty()) {
        throw runtimeError(ErrorCode::NotConnected, L"the connection to the vehicle of project " +
                                                        inQuotes(vehicle.project->name) +
                                                        L" is lost: " + cause);
    }
    return vehicle;
}

void Selection::deselect() {
    selectProject(nullptr);
}

void Selection::selectProject(std::shared_ptr<const Project> project) {
    SelectedVehicle former{std::move(project), nullptr, nullptr};
    std::stop_source formerChange{std::nostopstate};
    {
        const std::lock_guard lock(mutex);
        std::swap(former, selected);
        formerChange = beginChange();
        targetFilters.clear();
    }
    formerChange.request_stop();
    closeAccess(former.access);
}

std::stop_source Selection::beginChange() {
    std::stop_source former = std::exchange(change, std::stop_source());
    selected.changed = change.get_token();
    return former;
}

void Selection::selectInformation(const std::wstring& name) {
    std::shared_ptr<VehicleAccess> formerAccess;
    std::stop_source formerChange{std::nostopstate};
    const SelectedVehicle vehicle = withProject();
    const VehicleInformation* const information = vehicle.project->findVehicleInformation(name);
    if (information == nullptr) {
        throw runtimeError(ErrorCode::UnknownVehicleInformation,
                           L"project " + inQuotes(vehicle.project->name) +
                               L" has no vehicle information " + inQuotes(name));
    }
    {
        const std::lock_guard lock(mutex);
        if (selected.project != vehicle.project) {
            throw runtimeError(ErrorCode::NoProjectSelected,
                               L"another project was selected meanwhile");
        }
        if (std::exchange(selected.information, information) != information) {
            formerAccess = std::exchange(selected.access, nullptr);
            formerChange = beginChange();
        }
    }
    formerChange.request_stop();
    closeAccess(formerAccess);
}

void Selection::attach(const SelectedVehicle& expected, std::shared_ptr<VehicleAccess> access) {
    bool unchanged = false;
    {
        const std::lock_guard lock(mutex);
        unchanged =
            selected.project == expected.project && selected.information == expected.information;
        if (unchanged) {
            std::swap(selected.access, access);
        }
    }
    closeAccess(access);
    if (!unchanged) {
        throw runtimeError(ErrorCode::NotConnected,
                           L"the selection was changed while the vehicle was being connected");
    }
}

void Selection::detach(const std::shared_ptr<VehicleAccess>& access) {
    {
        const std::lock_guard lock(mutex);
        if (selected.access == access) {
            selected.access = nullptr;
        }
    }
    closeAccess(access);
}

void Selection::setFilters(std::vector<TargetFilter> filters) {
    const std::lock_guard lock(mutex);
    targetFilters = std::move(filters);
}

std::vector<ProjectTarget> Selection::targets() const {
    const std::lock_guard lock(mutex);
    std::vector<ProjectTarget> passing;
    if (selected.information != nullptr) {
        const auto& all = selected.information->targets;
        std::copy_if(all.begin(), all.end(), std::back_inserter(passing),
                     [this](const auto& target) { return passesFilters(target); });
    }
    return passing;
}

bool Selection::passesFilters(const ProjectTarget& target) const {
    const auto any = [this](const auto& matches) {
        return std::any_of(targetFilters.begin(), targetFilters.end(), matches);
    };
    const bool anyEnabled = any([](const auto& filter) { return filter.enabled; });
    const bool named = any([&](const auto& filter) {
        return filter.enabled == anyEnabled && filter.name == target.name;
    });
    return named == anyEnabled;
}

} // namespace Quarlen::Kel_cpp
