#include "tools/kelctl/check/ScriptActions.hpp"

#include <algorithm>

#include "kel_cpp/report/ReportTexts.hpp"
#include "kel_server_lib/tables/DtcStatusTable.hpp"
#include "kel_server_lib/tables/ReportServiceTable.hpp"
#include "kel_server_lib/tables/TextTable.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/ScriptNames.hpp"
#include "tools/kelctl/check/ScriptReferences.hpp"

namespace Quarlen::Ctl {

namespace {

/// The bits that a control unit is asked for.
std::uint32_t statusMask(const ScriptAction& quicktest) {
    std::uint32_t mask = 0;
    for (const ScriptElement* const status : quicktest.all("DtcStatus")) {
        mask |= dtcStatusFromText(Platform::fromUtf8(status->text));
    }
    return mask & 0xFFU;
}

/// Whether it is to show faults, or to read what is stored with them.
bool asksForFaults(const ScriptAction& quicktest) {
    const auto& services = quicktest.services;
    return quicktest.element->isOn("freezeFrames", false) ||
           quicktest.element->isOn("extendedData", false) ||
           std::any_of(services.begin(), services.end(),
                       [](const auto* service) { return service->text == "CurrentDtcs"; });
}

/// A service that reports of the built-in runtime only list as not available.
bool isUnavailable(const ScriptElement& service) {
    const std::uint32_t bit = reportServiceFromText(Platform::fromUtf8(service.text));
    return bit != unknownText && !Kel_cpp::unavailableReportServices(bit).empty();
}

std::wstring lineOf(const ScriptElement& element) {
    return L"line " + std::to_wstring(element.place.line);
}

/// A walk through one script. Each `run...` tells whether the action has something to do.
class ActionCheck {
public:
    ActionCheck(const ScriptTree& tree, const ConfigFolder* folder, FindingList& findings)
        : tree(tree), findings(findings), references(folder, findings) {}

    void run();

private:
    bool run(const ScriptAction& action);
    bool runSelect(const ScriptAction& action);
    bool runQuicktest(const ScriptAction& action);
    bool runFlashing(const ScriptAction& action);
    bool runExecute(const ScriptAction& action);
    bool runUnlock(const ScriptAction& action);
    void checkReached(const ScriptElement& action);
    void checkReport(const ScriptAction& quicktest);
    void checkServices(const ScriptAction& quicktest);
    void needProject(const ScriptElement& action, bool endsRun);
    void openUnlock(const ScriptAction& action);
    void failFor(const ScriptElement& action, bool certain);

    const ScriptTree& tree;
    FindingList& findings;
    ScriptReferences references;
    /// The last action that selects or closes a project; null before the first one.
    const ScriptElement* selection = nullptr;
    /// The action that fails for certain, and thereby ends each run.
    const ScriptElement* failing = nullptr;
    /// What opened the session that may be held; selecting another project does not give it back.
    const ScriptElement* heldUnlock = nullptr;
    bool needIsTold = false;
    bool endIsTold = false;
};

void ActionCheck::run() {
    bool doesSomething = false;
    for (const ScriptAction& action : actionsOf(tree)) {
        doesSomething = run(action) || doesSomething;
    }
    if (!doesSomething) {
        findings.warning("no-action", tree.elements().front().place,
                         L"the script has no action that does something: a run ends green at once");
    }
}

bool ActionCheck::run(const ScriptAction& action) {
    const std::string& name = action.element->name;
    if (name == "SelectAction") {
        return runSelect(action);
    }
    if (name == "QuicktestAction") {
        return runQuicktest(action);
    }
    if (name == "FlashingAction") {
        return runFlashing(action);
    }
    return name == "ExecuteAction" ? runExecute(action)
                                   : name == "UnlockAction" && runUnlock(action);
}

bool ActionCheck::runSelect(const ScriptAction& action) {
    checkReached(*action.element);
    selection = action.element;
    failFor(*action.element, !references.select(action));
    return true;
}

bool ActionCheck::runQuicktest(const ScriptAction& action) {
    checkReached(*action.element);
    checkReport(action);
    openUnlock(action);
    references.quicktest(action);
    needProject(*action.element, true);
    return true;
}

bool ActionCheck::runFlashing(const ScriptAction& action) {
    const bool namesItems = action.first("Item") != nullptr;
    if (!namesItems && action.first("Target") == nullptr) {
        findings.warning("does-nothing", action.element->place,
                         L"the action has neither items nor targets: nothing is flashed",
                         {L"Item", {}});
        return false;
    }
    checkReached(*action.element);
    openUnlock(action);
    failFor(*action.element, !references.flash(action));
    needProject(*action.element, namesItems);
    return true;
}

bool ActionCheck::runExecute(const ScriptAction& action) {
    const ScriptElement& element = *action.element;
    if (!element.isOn("enabled", true)) {
        findings.warning("never-runs", element.place, L"the action is switched off");
        return false;
    }
    if (element.attribute("command").empty()) {
        findings.error("never-runs", element.place, L"the action names no procedure",
                       {L"command", {}});
        return false;
    }
    checkReached(element);
    failFor(element, !references.execute(action));
    needProject(element, true);
    return true;
}

bool ActionCheck::runUnlock(const ScriptAction& action) {
    if (action.first("Unlock") == nullptr) {
        findings.warning("does-nothing", action.element->place,
                         L"the action names no unlock: nothing is opened", {L"Unlock", {}});
        return false;
    }
    checkReached(*action.element);
    if (heldUnlock != nullptr) {
        findings.warning("unlock-held", action.element->place,
                         L"the action is skipped when the unlock of " + lineOf(*heldUnlock) +
                             L" has opened",
                         {{}, L"an Unlock inside the next action opens in any case"});
    }
    needProject(*action.element, false);
    openUnlock(action);
    return true;
}

/// Tells of the first action that is not reached; those behind it share its fate.
void ActionCheck::checkReached(const ScriptElement& action) {
    if (failing != nullptr && !endIsTold) {
        endIsTold = true;
        findings.error("never-runs", action.place,
                       L"the action and what follows is never carried out: " + lineOf(*failing) +
                           L" always fails");
    }
}

/// Service SupportedDtcs asks for all of them, whatever their status.
void ActionCheck::checkReport(const ScriptAction& quicktest) {
    if (quicktest.first("VehicleReport") == nullptr) {
        if (!quicktest.element->attribute("reportName").empty()) {
            findings.warning("no-report", quicktest.element->place,
                             L"the report has a name, but none is written", {L"VehicleReport", {}});
        }
        return;
    }
    checkServices(quicktest);
    if (asksForFaults(quicktest) && statusMask(quicktest) == 0) {
        findings.warning("no-status", quicktest.element->place,
                         L"the report asks for faults, but no status is given: none is read",
                         {L"DtcStatus", L"<DtcStatus>Confirmed</DtcStatus> reads confirmed ones"});
    }
}

void ActionCheck::checkServices(const ScriptAction& quicktest) {
    for (const ScriptElement* const service : quicktest.services) {
        if (isUnavailable(*service)) {
            findings.warning("unavailable-service", service->place,
                             L"the runtime does not carry out " +
                                 quotedName(Platform::fromUtf8(service->text)) +
                                 L": the report only says that it is not available");
        }
    }
}

void ActionCheck::needProject(const ScriptElement& action, bool endsRun) {
    if (selection == nullptr && !needIsTold) {
        needIsTold = true;
        findings.warning("no-project", action.place,
                         L"no project is selected here: the action only works when an earlier run "
                         L"has left one open",
                         {L"a SelectAction before it", {}});
    } else if (selection != nullptr && selection->attribute("project").empty()) {
        findings.error("no-project", action.place,
                       lineOf(*selection) + L" has closed the project: the action cannot work",
                       {L"a SelectAction before it", {}});
        failFor(action, endsRun);
    }
}

void ActionCheck::openUnlock(const ScriptAction& action) {
    const ScriptElement* const unlock = action.first("Unlock");
    if (unlock != nullptr && references.unlock(*unlock)) {
        heldUnlock = unlock;
    }
}

void ActionCheck::failFor(const ScriptElement& action, bool certain) {
    if (certain && failing == nullptr) {
        failing = &action;
    }
}

} // namespace

void checkScriptActions(const ScriptTree& tree, const ConfigFolder* folder, FindingList& findings) {
    ActionCheck(tree, folder, findings).run();
}

} // namespace Quarlen::Ctl
