#pragma once

#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/VehicleAccess.hpp"
#include "kel_cpp/projects/Project.hpp"
#include "kel_server_lib/runtime/ProjectRecords.hpp"

namespace Quarlen::Kel_cpp {

/// A snapshot of the selection. The pointers stay valid as long as the snapshot exists.
struct SelectedVehicle {
    std::shared_ptr<const Project> project;
    /// Points into `project`.
    const VehicleInformation* information = nullptr;
    std::shared_ptr<VehicleAccess> access;
    /// Raised once another project or vehicle information is selected, or none.
    std::stop_token changed{};
};

/// The control units (targets of kind 1) in the order of the project.
std::vector<ProjectTarget> controlUnits(const VehicleInformation& information);
/// Null when the vehicle information has no control unit of that name.
const ProjectTarget* findControlUnit(const VehicleInformation& information,
                                     const std::wstring& name);
/// True when the project names the logical link anywhere.
bool knowsLink(const Project& project, const std::wstring& logicalLink);

/// What a list of connections calls the one to the vehicle.
std::wstring connectionText(const SelectedVehicle& vehicle, const std::wstring& interfaceName);

/// The runtime's one selection: project, vehicle information, target filters and vehicle access.
/// Safe from any thread; a snapshot keeps its project and its access, even when the access has been
/// closed.
class Selection {
public:
    [[nodiscard]] SelectedVehicle current() const;
    /// As `current`, but throw `KelApiException` when the named part is not selected.
    [[nodiscard]] SelectedVehicle withProject() const;
    [[nodiscard]] SelectedVehicle withInformation() const;
    [[nodiscard]] SelectedVehicle withAccess() const;

    /// Closes the access, also one that is being opened, and forgets everything that belonged to
    /// the former project.
    void deselect();
    void selectProject(std::shared_ptr<const Project> project);
    /// Closes the access when `name` is not the selected vehicle information. Throws
    /// `KelApiException`.
    void selectInformation(const std::wstring& name);

    /// Stores the access that was opened for the snapshot `expected`. When the selection has
    /// changed meanwhile, closes the access and throws `KelApiException`.
    void attach(const SelectedVehicle& expected, std::shared_ptr<VehicleAccess> access);
    /// Closes the access and removes it from the selection when it is still the selected one.
    void detach(const std::shared_ptr<VehicleAccess>& access);

    void setFilters(std::vector<TargetFilter> filters);
    /// Targets of the vehicle information that pass the filters. If any filter is enabled, only the
    /// targets of enabled filters pass; otherwise all targets except those of disabled filters
    /// pass. Empty when nothing is selected.
    [[nodiscard]] std::vector<ProjectTarget> targets() const;

private:
    /// The mutex is held; the caller raises what it gets once it is not.
    [[nodiscard]] std::stop_source beginChange();
    [[nodiscard]] bool passesFilters(const ProjectTarget& target) const;

    mutable std::mutex mutex;
    SelectedVehicle selected;
    std::stop_source change;
    std::vector<TargetFilter> targetFilters;
};

} // namespace Quarlen::Kel_cpp
