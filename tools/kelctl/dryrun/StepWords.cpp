#include "tools/kelctl/dryrun/StepWords.hpp"

#include <optional>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Ctl {

namespace {

std::string quoted(const std::wstring& text) {
    return '"' + Platform::toUtf8(text) + '"';
}

std::string list(const std::vector<std::wstring>& texts) {
    std::string all;
    for (const std::wstring& text : texts) {
        all += (all.empty() ? "" : ", ") + Platform::toUtf8(text);
    }
    return all;
}

std::string unlockWords(const std::optional<Config::UnlockDescription>& unlock) {
    return unlock ? " Opens the unlock " + quoted(unlock->unlockName) + " with parameter " +
                        quoted(unlock->unlockParameter) + " first."
                  : "";
}

/// "of every control unit", or of those that the action lists.
std::string targetWords(const std::vector<std::wstring>& items,
                        const std::vector<Config::TargetSetting>& targets) {
    std::vector<std::wstring> wanted;
    std::vector<std::wstring> unwanted;
    for (const auto& target : targets) {
        (target.enabled ? wanted : unwanted).push_back(target.name);
    }
    std::string words = list(items);
    if (!wanted.empty()) {
        words += (words.empty() ? "the targets " : " and the targets ") + list(wanted);
    } else if (!unwanted.empty()) {
        words += (words.empty() ? "all targets but " : " and all targets but ") + list(unwanted);
    }
    return words;
}

std::string words(const Config::CfxSelectAction& action) {
    if (action.project.empty()) {
        return "Closes the project that is open and gives an unlock back.";
    }
    const std::string project = action.project == L"AUTO_SELECT"
                                    ? "Selects the project by the car's VIN"
                                    : "Selects the project " + quoted(action.project);
    return project + ", then the vehicle information " + quoted(action.vehicleInformation) +
           (action.autoConnect ? ", and connects to the car."
                               : ", and asks each control unit whether it is there.");
}

std::string words(const Config::CfxExecuteAction& action) {
    if (!action.enabled) {
        return "Is disabled: nothing is done.";
    }
    return action.command.empty() ? "Names no procedure: nothing is done."
                                  : "Runs the procedure " + quoted(action.command) + ".";
}

std::string reportWords(const Config::CfxQuicktestAction& action) {
    if (!action.vehicleReport) {
        return " Writes no report.";
    }
    const auto& report = *action.vehicleReport;
    const std::string type =
        report.reportType ? " of type " + quoted(*report.reportType) : std::string();
    const std::string services = report.services.empty() ? "" : " with " + list(report.services);
    return " Writes the report " + quoted(action.reportName) + type + services + ".";
}

/// What is read of each fault besides its status.
std::string recordWords(const Config::CfxQuicktestAction& action) {
    std::string words = action.freezeFrames ? " with freeze frames" : "";
    if (action.extendedData) {
        words += words.empty() ? " with extended data" : " and extended data";
    }
    return words;
}

std::string faultWords(const Config::CfxQuicktestAction& action) {
    const std::string first = action.mileage ? "identification, mileage" : "identification";
    if (action.dtcStatus.empty()) {
        return first + ", but no faults (it names no status),";
    }
    return first + " and faults (" + list(action.dtcStatus) + ")" + recordWords(action);
}

std::string words(const Config::CfxQuicktestAction& action) {
    const std::string units = targetWords(action.items, action.targets);
    return "Reads " + faultWords(action) + " of " + (units.empty() ? "every control unit" : units) +
           "." + unlockWords(action.unlock) + reportWords(action);
}

std::string words(const Config::CfxFlashingAction& action) {
    const std::string items = targetWords(action.items, action.targets);
    return (items.empty() ? "Names nothing to flash." : "Flashes " + items + ".") +
           unlockWords(action.unlock);
}

std::string words(const Config::CfxUnlockAction& action) {
    return action.unlock
               ? "Opens the unlock " + quoted(action.unlock->unlockName) + " with parameter " +
                     quoted(action.unlock->unlockParameter) + ", unless one is held."
               : "Names no unlock: nothing is done.";
}

template <class Action>
std::optional<std::string> wordsAs(const Config::ConfigObject& object) {
    const Action* const action = Config::as<Action>(object);
    return action == nullptr ? std::nullopt : std::optional(words(*action));
}

} // namespace

std::string actionName(const Config::ConfigObject& action) {
    switch (action.typeId()) {
    case Config::TypeId::ExecuteAction:
        return "ExecuteAction";
    case Config::TypeId::SelectAction:
        return "SelectAction";
    case Config::TypeId::QuicktestAction:
        return "QuicktestAction";
    case Config::TypeId::FlashingAction:
        return "FlashingAction";
    case Config::TypeId::UnlockAction:
        return "UnlockAction";
    case Config::TypeId::Unknown:
    case Config::TypeId::KelServerScript:
        break;
    }
    return "unknown action";
}

std::string actionWords(const Config::ConfigObject& action) {
    for (const auto& found :
         {wordsAs<Config::CfxSelectAction>(action), wordsAs<Config::CfxExecuteAction>(action),
          wordsAs<Config::CfxQuicktestAction>(action), wordsAs<Config::CfxFlashingAction>(action),
          wordsAs<Config::CfxUnlockAction>(action)}) {
        if (found) {
            return *found;
        }
    }
    return "The server does not know this action and skips it.";
}

} // namespace Quarlen::Ctl
