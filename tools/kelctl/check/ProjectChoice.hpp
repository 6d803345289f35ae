#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kel_cpp/projects/Project.hpp"

namespace Quarlen::Ctl {

/// A project with the vehicle information that is selected in it.
struct SelectedProject {
    std::shared_ptr<const Kel_cpp::Project> project;
    /// Points into `project`.
    const Kel_cpp::VehicleInformation* information = nullptr;
};

/// What an action may find selected: one project, or each of those that a vehicle can match. What
/// none of them has is missing for certain. Empty where nothing is known.
class ProjectChoice {
public:
    ProjectChoice() = default;
    explicit ProjectChoice(std::vector<SelectedProject> all) : all(std::move(all)) {}

    [[nodiscard]] bool isKnown() const { return !all.empty(); }
    [[nodiscard]] bool isOne() const { return all.size() == 1; }
    [[nodiscard]] const std::vector<SelectedProject>& each() const { return all; }

    /// Nothing is known, or one of them says so.
    [[nodiscard]] bool mayBe(const std::function<bool(const SelectedProject&)>& is) const;
    /// Without repetitions.
    [[nodiscard]] std::vector<std::wstring>
    names(const std::function<std::vector<std::wstring>(const SelectedProject&)>& of) const;
    /// `the project "X"` or `none of the projects that AUTO_SELECT can find`, for a sentence about
    /// what is missing.
    [[nodiscard]] std::wstring missing(const std::wstring& what) const;
    [[nodiscard]] std::wstring missingInInformation(const std::wstring& what) const;

private:
    std::vector<SelectedProject> all;
};

/// The names of a list of the project's parts.
template <class List>
std::vector<std::wstring> namesIn(const List& list) {
    std::vector<std::wstring> names;
    for (const auto& part : list) {
        names.push_back(part.name);
    }
    return names;
}

} // namespace Quarlen::Ctl
