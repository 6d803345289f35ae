#include "tools/kelctl/check/ScriptReferences.hpp"

#include "kel_cpp/access/Selection.hpp"
#include "kel_server_lib/sequence/actions/AutoSelect.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/ProjectVin.hpp"
#include "tools/kelctl/check/ScriptNames.hpp"
#include "tools/kelctl/check/Suggestion.hpp"

namespace Quarlen::Ctl {

namespace {

constexpr const char* missingProject = "missing-project";
constexpr const char* missingInformation = "missing-vehicle-information";

Names procedureNames(const SelectedProject& selected) {
    return selected.information->procedures;
}

Names targetNames(const SelectedProject& selected) {
    return namesIn(selected.information->targets);
}

} // namespace

bool ScriptReferences::select(const ScriptAction& action) {
    selected = ProjectChoice();
    const std::wstring name = attributeOf(*action.element, "project");
    if (name.empty()) {
        return true;
    }
    if (action.element->attribute("vehicleInformation").empty()) {
        findings.error(missingInformation, action.element->place,
                       L"no vehicle information is named: the action always fails",
                       {L"vehicleInformation", {}});
        return false;
    }
    if (folder == nullptr) {
        return true;
    }
    return name == AutoSelect::project ? selectByVin(*action.element)
                                       : selectByName(*action.element, name);
}

bool ScriptReferences::selectByVin(const ScriptElement& action) {
    std::vector<SelectedProject> projects;
    for (const std::wstring& name : folder->projectNames()) {
        if (name == AutoSelect::vinReader || !isFoundByVin(folder->projectNames(), name)) {
            continue;
        }
        const NamedProject& named = folder->project(name);
        if (named.project) {
            projects.push_back({named.project, nullptr});
        } else {
            findings.warning(missingProject, action.place,
                             L"AUTO_SELECT may find the project " + quotedName(name) + L": " +
                                 named.fault);
        }
    }
    const bool canRead = checkVinReader(action);
    if (canRead && projects.empty()) {
        findings.error(
            missingProject, action.place,
            L"there is no project that AUTO_SELECT could find in " +
                shownName(folder->projectsFolder()),
            {{}, L"its name has to have the vehicle's number from the fourth character"});
    }
    return canRead && !projects.empty() && selectInformation(action, ProjectChoice(projects));
}

bool ScriptReferences::checkVinReader(const ScriptElement& action) {
    const auto& project = folder->project(AutoSelect::vinReader).project;
    if (!project) {
        findings.error(missingProject, action.place,
                       L"AUTO_SELECT needs the project " + quotedName(AutoSelect::vinReader) +
                           L": " + folder->project(AutoSelect::vinReader).fault);
    } else if (project->findVehicleInformation(AutoSelect::vinInformation) == nullptr) {
        findings.error(missingInformation, action.place,
                       L"AUTO_SELECT needs the vehicle information " +
                           quotedName(AutoSelect::vinInformation) + L" in the project " +
                           quotedName(AutoSelect::vinReader));
    } else if (!Kel_cpp::knowsLink(*project, AutoSelect::vinLink)) {
        findings.error("missing-link", action.place,
                       L"AUTO_SELECT needs the logical link " + quotedName(AutoSelect::vinLink) +
                           L" in the project " + quotedName(AutoSelect::vinReader));
    } else {
        return true;
    }
    return false;
}

bool ScriptReferences::selectByName(const ScriptElement& action, const std::wstring& name) {
    const NamedProject& named = folder->project(name);
    if (named.project) {
        return selectInformation(action, ProjectChoice({{named.project, nullptr}}));
    }
    findings.error(missingProject, action.place, named.fault,
                   {named.exists ? L"" : alternativesTo(name, folder->projectNames()), {}});
    return false;
}

bool ScriptReferences::selectInformation(const ScriptElement& action,
                                         const ProjectChoice& projects) {
    const std::wstring name = attributeOf(action, "vehicleInformation");
    std::vector<SelectedProject> having;
    for (const SelectedProject& each : projects.each()) {
        if (const auto* const found = each.project->findVehicleInformation(name)) {
            having.push_back({each.project, found});
        }
    }
    if (having.empty()) {
        const auto all = projects.names(
            [](const auto& each) { return namesIn(each.project->vehicleInformations); });
        findings.error(missingInformation, action.place,
                       projects.missing(L"vehicle information " + quotedName(name)),
                       {alternativesTo(name, all), {}});
    }
    selected = ProjectChoice(std::move(having));
    return selected.isKnown();
}

bool ScriptReferences::execute(const ScriptAction& action) {
    const std::wstring name = attributeOf(*action.element, "command");
    if (selected.mayBe([&](const auto& each) { return contains(procedureNames(each), name); })) {
        return true;
    }
    findings.error("missing-procedure", action.element->place,
                   selected.missingInInformation(L"procedure " + quotedName(name)),
                   {alternativesTo(name, selected.names(procedureNames)), {}});
    return false;
}

void ScriptReferences::quicktest(const ScriptAction& action) {
    for (const ScriptElement* const item : action.all("Item")) {
        checkItem(*item);
    }
    const auto targets = action.all("Target");
    for (const ScriptElement* const target : targets) {
        checkFilter(*target);
    }
    const bool takesAny =
        !action.all("Item").empty() || targets.empty() ||
        selected.mayBe([&](const auto& each) { return !passingUnits(each, action).empty(); });
    if (!takesAny) {
        findings.error("does-nothing", action.element->place,
                       L"the targets let no control unit through: nothing is tested");
    }
}

void ScriptReferences::checkItem(const ScriptElement& item) {
    const std::wstring name = Platform::fromUtf8(item.text);
    if (!selected.mayBe([&](const auto& each) { return contains(controlUnitNames(each), name); })) {
        findings.error("missing-target", item.place,
                       selected.missingInInformation(L"control unit " + quotedName(name)),
                       {alternativesTo(name, selected.names(controlUnitNames)), {}});
    }
}

void ScriptReferences::checkFilter(const ScriptElement& target) {
    const std::wstring name = attributeOf(target, "name");
    if (!selected.mayBe([&](const auto& each) { return contains(targetNames(each), name); })) {
        findings.error("missing-target", target.place,
                       selected.missingInInformation(L"target " + quotedName(name)),
                       {alternativesTo(name, selected.names(targetNames)), {}});
    }
}

bool ScriptReferences::unlock(const ScriptElement& element) {
    const std::wstring name = attributeOf(element, "name");
    const std::wstring parameter = attributeOf(element, "parameter");
    const auto unlocks = [](const auto& each) { return namesIn(each.project->unlocks); };
    const auto parameters = [&](const SelectedProject& each) {
        const auto* const found = each.project->findUnlock(name);
        return found == nullptr ? Names() : namesIn(found->parameters);
    };
    if (!selected.mayBe([&](const auto& each) { return contains(unlocks(each), name); })) {
        findings.error(
            "missing-unlock", element.place, selected.missing(L"unlock " + quotedName(name)),
            {alternativesTo(name, selected.names(unlocks)), L"a run goes on without it"});
        return false;
    }
    if (!selected.mayBe([&](const auto& each) { return contains(parameters(each), parameter); })) {
        findings.error(
            "missing-unlock", element.place,
            L"the unlock " + quotedName(name) + L" has no parameter " + quotedName(parameter),
            {alternativesTo(parameter, selected.names(parameters)), L"a run goes on without it"});
        return false;
    }
    return true;
}

} // namespace Quarlen::Ctl
