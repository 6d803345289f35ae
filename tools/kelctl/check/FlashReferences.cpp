#include <algorithm>

#include "kel_cpp/access/Selection.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/ScriptNames.hpp"
#include "tools/kelctl/check/ScriptReferences.hpp"
#include "tools/kelctl/check/Suggestion.hpp"

// What flashing actions name.
namespace Quarlen::Ctl {

namespace {

Names flashItemNames(const SelectedProject& selected) {
    return namesIn(selected.project->flashItems);
}

} // namespace

bool ScriptReferences::flash(const ScriptAction& action) {
    bool mayWork = true;
    for (const ScriptElement* const item : action.all("Item")) {
        mayWork = checkFlashItem(*item) && mayWork;
    }
    const auto targets = action.all("Target");
    for (const ScriptElement* const target : targets) {
        checkFilter(*target);
    }
    return (targets.empty() || checkFlashedTargets(action)) && mayWork;
}

bool ScriptReferences::checkFlashItem(const ScriptElement& item) {
    const std::wstring name = Platform::fromUtf8(item.text);
    if (!selected.mayBe([&](const auto& each) { return contains(flashItemNames(each), name); })) {
        findings.error("missing-flash-item", item.place,
                       selected.missing(L"flash item " + quotedName(name)),
                       {alternativesTo(name, selected.names(flashItemNames)), {}});
        return false;
    }
    return checkKnownItem(item, name);
}

bool ScriptReferences::checkKnownItem(const ScriptElement& at, const std::wstring& name) {
    const auto hasUnit = [&](const SelectedProject& each) {
        const auto* const found = each.project->findFlashItem(name);
        return found != nullptr &&
               Kel_cpp::findControlUnit(*each.information, found->target) != nullptr;
    };
    if (!selected.mayBe(hasUnit)) {
        findings.error(
            "missing-target", at.place,
            selected.missingInInformation(L"control unit for the flash item " + quotedName(name)),
            {});
        return false;
    }
    checkFlashFiles(at, name);
    return true;
}

/// The targets that pass are flashed as items of their names.
bool ScriptReferences::checkFlashedTargets(const ScriptAction& action) {
    const auto units = [&](const SelectedProject& each) { return passingUnits(each, action); };
    const Names passing = selected.names(units);
    if (passing.empty()) {
        if (selected.isKnown() && action.all("Item").empty()) {
            findings.error("does-nothing", action.element->place,
                           L"the targets let no control unit through: nothing is flashed");
        }
        return true;
    }
    const auto areItems = [&](const SelectedProject& each) {
        const Names names = units(each);
        return std::all_of(names.begin(), names.end(),
                           [&](const auto& unit) { return contains(flashItemNames(each), unit); });
    };
    if (!selected.mayBe(areItems)) {
        findings.error("missing-flash-item", action.element->place,
                       L"the targets that pass are flashed as items of their names, and not all "
                       L"of these are there: " +
                           alternativesTo({}, passing),
                       {alternativesTo({}, selected.names(flashItemNames)), {}});
        return false;
    }
    const auto items = [&](const SelectedProject& each) {
        return areItems(each) ? units(each) : Names();
    };
    bool mayWork = true;
    for (const std::wstring& item : selected.names(items)) {
        mayWork = checkKnownItem(*action.element, item) && mayWork;
    }
    return mayWork;
}

/// It is a warning where another project that may be selected has all files of the item.
void ScriptReferences::checkFlashFiles(const ScriptElement& at, const std::wstring& item) {
    const auto hasFiles = [&](const SelectedProject& each) {
        const auto* const found = each.project->findFlashItem(item);
        return found != nullptr && std::all_of(found->sessions.begin(), found->sessions.end(),
                                               [&](const auto& session) {
                                                   return folder->flashFault(session).empty();
                                               });
    };
    const Severity severity = selected.mayBe(hasFiles) ? Severity::Warning : Severity::Error;
    for (const SelectedProject& each : selected.each()) {
        if (const auto* const found = each.project->findFlashItem(item)) {
            for (const auto& session : found->sessions) {
                checkFlashFile(at, severity, *each.project, session);
            }
        }
    }
}

/// Without its file the session is not flashed, and the run still ends green.
void ScriptReferences::checkFlashFile(const ScriptElement& at, Severity severity,
                                      const Kel_cpp::Project& project,
                                      const Kel_cpp::FlashSessionDescription& session) {
    const std::wstring& fault = folder->flashFault(session);
    if (!fault.empty()) {
        const std::wstring owner =
            selected.isOne() ? L"" : L" of the project " + quotedName(project.name);
        findings.add(severity, folder->flashRule(session), at.place,
                     L"the flash session " + quotedName(session.name) + owner + L" fails: " +
                         quotedName(session.file) + L": " + fault,
                     {{}, L"the run goes on and ends green"});
    }
}

} // namespace Quarlen::Ctl
