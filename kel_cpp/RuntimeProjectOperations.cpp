#include <utility>

#include "kel_cpp/DataFolders.hpp"
#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/history/RunGuards.hpp"
#include "kel_cpp/jobs/ServiceOrder.hpp"
#include "kel_cpp/projects/ProjectStore.hpp"
#include "platform/FileFacts.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

template <class Named>
std::shared_ptr<Named> named(const std::wstring& name) {
    auto record = std::make_shared<Named>();
    record->name = name;
    return record;
}

const FlashItem& requiredFlashItem(const Project& project, const std::wstring& name) {
    const FlashItem* const item = project.findFlashItem(name);
    if (item == nullptr) {
        throw runtimeError(ErrorCode::UnknownFlashItem, L"project " + inQuotes(project.name) +
                                                            L" has no flash item " +
                                                            inQuotes(name));
    }
    return *item;
}

void checkObjectKind(const std::wstring& kind) {
    if (kind != ServiceOrder::otxTarget) {
        throw runtimeError(ErrorCode::UnknownTarget,
                           L"this runtime lists no objects of kind " + inQuotes(kind));
    }
}

std::vector<TargetFilter> copiedFilters(const RecordList<TargetFilter>& filters) {
    std::vector<TargetFilter> copies;
    for (const auto& filter : filters) {
        if (filter) {
            copies.push_back(*filter);
        }
    }
    return copies;
}

} // namespace

std::filesystem::path Runtime::projectsFolder() const {
    return Platform::toPath(settings.inEffect().paths.projectsPath);
}

void Runtime::getProjects(RecordList<ProjectEntry>& projects) {
    guarded(L"getProjects", [&] {
        projects.clear();
        for (const auto& name : listProjects(projectsFolder())) {
            projects.push_back(named<ProjectEntry>(name));
        }
    });
}

/// Each selection reads the project file anew, so there is nothing to prepare. This only checks the
/// projects folder, so that a missing folder is not reported as a missing project.
void Runtime::beginProjectSelection() {
    guarded(L"beginProjectSelection", [&] {
        const std::filesystem::path folder = projectsFolder();
        if (!Platform::isFolder(folder)) {
            throw runtimeError(ErrorCode::Configuration, L"the projects folder " +
                                                             Platform::fromPath(folder) +
                                                             L" does not exist");
        }
    });
}

void Runtime::selectProject(const std::wstring& projectName) {
    guarded(L"selectProject", [&] {
        const RunLog::Call call(*runs);
        if (projectName.empty()) {
            runs->projectDeselected();
        }
        selection.deselect();
        if (!projectName.empty()) {
            selection.selectProject(loadProject(projectsFolder(), projectName));
        }
    });
}

std::wstring Runtime::getSelectedProjectName() {
    return guarded(L"getSelectedProjectName", [&] {
        const SelectedVehicle vehicle = selection.current();
        return vehicle.project ? vehicle.project->name : std::wstring();
    });
}

std::shared_ptr<ProjectDetails> Runtime::getProjectDetails(const std::wstring& projectName) {
    return guarded(L"getProjectDetails", [&] {
        auto details = std::make_shared<ProjectDetails>();
        const auto project = loadProject(projectsFolder(), projectName);
        for (const auto& information : project->vehicleInformations) {
            details->vehicleInformations.push_back(information.name);
        }
        return details;
    });
}

void Runtime::selectVehicleInformation(const std::wstring& name) {
    guarded(L"selectVehicleInformation", [&] { selection.selectInformation(name); });
}

/// Returns the objects whose names contain `filter`; an empty filter matches every name.
void Runtime::getProjectObjects(RecordList<ProjectObject>& objects, const std::wstring& kind,
                                const std::wstring& filter, std::shared_ptr<Record> /*context*/,
                                std::uint32_t /*flags*/) {
    guarded(L"getProjectObjects", [&] {
        checkObjectKind(kind);
        const SelectedVehicle vehicle = selection.withInformation();
        objects.clear();
        for (const auto& name : vehicle.information->procedures) {
            if (name.find(filter) != std::wstring::npos) {
                objects.push_back(named<ProjectObject>(name));
            }
        }
    });
}

void Runtime::setTargetFilters(const RecordList<TargetFilter>& filters) {
    guarded(L"setTargetFilters", [&] { selection.setFilters(copiedFilters(filters)); });
}

void Runtime::getTargets(RecordList<TargetEntry>& targets) {
    guarded(L"getTargets", [&] {
        targets.clear();
        for (const auto& target : selection.targets()) {
            auto entry = named<TargetEntry>(target.name);
            entry->kind = target.kind;
            targets.push_back(std::move(entry));
        }
    });
}

void Runtime::getDataFolders(RecordList<DataFolder>& folders, std::int32_t /*kind*/) {
    guarded(L"getDataFolders", [&] {
        const RunLog::Call call(*runs);
        folders = listDataFolders(settings.inEffect().dataFolder);
    });
}

void Runtime::getFlashInfo(std::shared_ptr<FlashInfo>& info, const std::wstring& flashItem) {
    guarded(L"getFlashInfo", [&] {
        const SelectedVehicle vehicle = selection.withProject();
        const FlashItem& item = requiredFlashItem(*vehicle.project, flashItem);
        auto record = std::make_shared<FlashInfo>();
        record->item = item.name;
        record->target = item.target;
        record->description = item.description;
        info = std::move(record);
    });
}

void Runtime::getFlashSessions(RecordList<FlashSession>& sessions, const std::wstring& item,
                               const std::wstring& target) {
    guarded(L"getFlashSessions", [&] {
        const SelectedVehicle vehicle = selection.withProject();
        const FlashItem& found = requiredFlashItem(*vehicle.project, item);
        if (found.target != target) {
            throw runtimeError(ErrorCode::UnknownFlashItem, L"flash item " + inQuotes(item) +
                                                                L" is not for control unit " +
                                                                inQuotes(target));
        }
        sessions.clear();
        for (const auto& session : found.sessions) {
            sessions.push_back(named<FlashSession>(session.name));
        }
    });
}

} // namespace Quarlen::Kel_cpp
