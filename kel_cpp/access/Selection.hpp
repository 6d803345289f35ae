#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kel_cpp/access/VehicleAccess.hpp"
#include "kel_cpp/projects/Project.hpp"
#include "kel_server_lib/runtime/ProjectRecords.hpp"

namespace Quarlen::Kel_cpp {

/// What is selected at one moment. The pointers stay valid as long as the value lives.
struct SelectedVehicle {
    std::shared_ptr<const Project> project;
    /// Points into `project`.
    const VehicleInformation* information = nullptr;
    std::shared_ptr<VehicleAccess> access;
};

/// Kind 1 targets in the project's order.
std::vector<ProjectTarget> controlUnits(const VehicleInformation& information);
/// Null when the vehicle information has no control unit of that name.
const ProjectTarget* findControlUnit(const VehicleInformation& information,
                                     const std::wstring& name);
/// True for a logical link that the project names anywhere.
bool knowsLink(const Project& project, const std::wstring& logicalLink);

/// The runtime's one selection: project, vehicle information, target filters and vehicle access.
/// Safe from any thread; takers of `current` keep what they took, a closed access included.
class Selection {
public:
    [[nodiscard]] SelectedVehicle current() const;
    /// As `current`. They throw `KelApiException` when that part is not selected.
    [[nodiscard]] SelectedVehicle withProject() const;
    [[nodiscard]] SelectedVehicle withInformation() const;
    [[nodiscard]] SelectedVehicle withAccess() const;

    /// Closes the access and forgets everything that belonged to the former project.
    void deselect();
    void selectProject(std::shared_ptr<const Project> project);
    /// Another vehicle information than the selected one closes the access. Throws
    /// `KelApiException`.
    void selectInformation(const std::wstring& name);

    /// Takes the access over for what `expected` holds. Throws `KelApiException` when something
    /// else has been selected meanwhile; then the access is closed.
    void attach(const SelectedVehicle& expected, std::shared_ptr<VehicleAccess> access);
    /// Closes the access and forgets it where it still is the selected one.
    void detach(const std::shared_ptr<VehicleAccess>& access);

    void setFilters(std::vector<TargetFilter> filters);
    /// Targets of the vehicle information that the filters let through. With an enabled filter
    /// these are only those that an enabled one names; without, all but those that a disabled one
    /// names. Empty when nothing is selected.
    [[nodiscard]] std::vector<ProjectTarget> targets() const;

private:
    [[nodiscard]] bool passesFilters(const ProjectTarget& target) const;

    mutable std::mutex mutex;
    SelectedVehicle selected;
    std::vector<TargetFilter> targetFilters;
};

} // namespace Quarlen::Kel_cpp
