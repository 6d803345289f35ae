#include "config/ScriptReader.hpp"

#include <utility>

#include "platform/TextEncoding.hpp"
#include "xml/Quoting.hpp"

namespace Config {
namespace {

constexpr std::string_view blanks = " \t\r\n";

constexpr std::size_t actionDepth = 2;
constexpr std::size_t childDepth = 3;
constexpr std::size_t serviceDepth = 4;

/// Bytes that the allocator and a growing list add to an object.
constexpr std::size_t overhead = 32;

/// Size of a wide character; used on all platforms, so that they have the same limits.
constexpr std::size_t bytesOfCharacter = 4;

/// A run passes the targets on as filters, of which the runtime keeps copies after the run.
constexpr std::size_t copiesOfTargets = 5;

void checkLength(std::size_t length) {
    if (length > ScriptReader::maxTextSize) {
        throw ScriptReader::TooMuch(L"a text longer than " +
                                    std::to_wstring(ScriptReader::maxTextSize / 1024) + L" KiB");
    }
}

std::string_view withoutOuterBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Boolean of XML Schema (datatypes, clause 3.2.2).
bool attributeFlag(const Xml::Attributes& attributes, std::string_view name, bool fallback) {
    const auto text = attributes.find(name);
    if (!text) {
        return fallback;
    }
    const std::string_view value = withoutOuterBlanks(*text);
    if (value == "true" || value == "1") {
        return true;
    }
    if (value == "false" || value == "0") {
        return false;
    }
    throw Xml::Fault(L"the attribute " + Xml::inQuotes(name) + L" must be true or false, not " +
                     Xml::inQuotes(*text));
}

/// Makes the value of an element that may occur only once in an action.
template <class Value>
Value& onlyOne(std::optional<Value>& place, std::string_view element) {
    if (place) {
        throw Xml::Fault(L"a second element " + Xml::inQuotes(element) + L" in one action");
    }
    return place.emplace();
}

} // namespace

const ScriptReader::KnownElement ScriptReader::knownActions[] = {
    {"ExecuteAction", &ScriptReader::beginExecute},
    {"SelectAction", &ScriptReader::beginSelect},
    {"QuicktestAction", &ScriptReader::beginQuicktest},
    {"FlashingAction", &ScriptReader::beginFlashing},
    {"UnlockAction", &ScriptReader::beginUnlockAction},
};

const ScriptReader::KnownElement ScriptReader::knownChildren[] = {
    {"Item", &ScriptReader::beginItem},
    {"Target", &ScriptReader::beginTarget},
    {"DtcStatus", &ScriptReader::beginDtcStatus},
    {"VehicleReport", &ScriptReader::beginVehicleReport},
    {"Unlock", &ScriptReader::beginUnlock},
};

void ScriptReader::begin(std::string_view element, const Xml::Attributes& attributes) {
    ++depth;
    if (depth == 1) {
        beginRoot(element, attributes);
    } else if (depth == actionDepth && script) {
        beginAction(element, attributes);
    } else if (depth == childDepth) {
        beginChild(element, attributes);
    } else if (depth == serviceDepth && element == "Service") {
        collectText(services);
    }
}

void ScriptReader::end() {
    if (textList != nullptr && depth == textDepth) {
        textList->push_back(Quarlen::Platform::fromUtf8(withoutOuterBlanks(textSoFar)));
        textList = nullptr;
        textSoFar.clear();
    }
    if (depth == childDepth) {
        services = nullptr;
    } else if (depth == actionDepth) {
        open = {};
    }
    --depth;
}

/// Comments and CDATA sections split the text of an element into several parts.
void ScriptReader::text(std::string_view part) {
    if (textList != nullptr && depth == textDepth) {
        chargeText(part.size());
        checkLength(textSoFar.size() + part.size());
        textSoFar += part;
    }
}

void ScriptReader::beginRoot(std::string_view element, const Xml::Attributes& attributes) {
    if (element != "KelServerScript") {
        rootObject = unknown;
        return;
    }
    script = Ref(new CfxKelServerScript);
    script->resultLed = attributeFlag(attributes, "resultLed", true);
    rootObject = script;
}

void ScriptReader::beginAction(std::string_view element, const Xml::Attributes& attributes) {
    for (const KnownElement& known : knownActions) {
        if (known.name == element) {
            return (this->*known.begin)(attributes);
        }
    }
    charge(overhead);
    script->actions.push_back(unknown);
}

void ScriptReader::beginChild(std::string_view element, const Xml::Attributes& attributes) {
    for (const KnownElement& known : knownChildren) {
        if (known.name == element) {
            return (this->*known.begin)(attributes);
        }
    }
}

void ScriptReader::beginExecute(const Xml::Attributes& attributes) {
    auto& action = addAction<CfxExecuteAction>();
    action.enabled = attributeFlag(attributes, "enabled", true);
    action.command = attributeText(attributes, "command");
}

void ScriptReader::beginSelect(const Xml::Attributes& attributes) {
    auto& action = addAction<CfxSelectAction>();
    action.project = attributeText(attributes, "project");
    action.vehicleInformation = attributeText(attributes, "vehicleInformation");
    action.autoConnect = attributeFlag(attributes, "autoConnect", false);
}

void ScriptReader::beginQuicktest(const Xml::Attributes& attributes) {
    auto& action = addAction<CfxQuicktestAction>();
    action.reportName = attributeText(attributes, "reportName");
    action.freezeFrames = attributeFlag(attributes, "freezeFrames", false);
    action.extendedData = attributeFlag(attributes, "extendedData", false);
    action.mileage = attributeFlag(attributes, "mileage", false);
    open = {&action.items, &action.targets, &action.dtcStatus, &action.vehicleReport,
            &action.unlock};
}

void ScriptReader::beginFlashing(const Xml::Attributes& /*attributes*/) {
    auto& action = addAction<CfxFlashingAction>();
    open = {&action.items, &action.targets, nullptr, nullptr, &action.unlock};
}

void ScriptReader::beginUnlockAction(const Xml::Attributes& /*attributes*/) {
    open.unlock = &addAction<CfxUnlockAction>().unlock;
}

void ScriptReader::beginItem(const Xml::Attributes& /*attributes*/) {
    collectText(open.items);
}

void ScriptReader::beginDtcStatus(const Xml::Attributes& /*attributes*/) {
    collectText(open.dtcStatus);
}

void ScriptReader::beginTarget(const Xml::Attributes& attributes) {
    if (open.targets != nullptr) {
        TargetSetting target{attributeText(attributes, "name"),
                             attributeFlag(attributes, "enabled", true)};
        charge(copiesOfTargets *
               (sizeof(TargetSetting) + overhead + target.name.size() * bytesOfCharacter));
        open.targets->push_back(std::move(target));
    }
}

void ScriptReader::beginVehicleReport(const Xml::Attributes& attributes) {
    if (open.vehicleReport == nullptr) {
        return;
    }
    auto& report = onlyOne(*open.vehicleReport, "VehicleReport");
    if (attributes.find("type")) {
        report.reportType = attributeText(attributes, "type");
    }
    services = &report.services;
}

void ScriptReader::beginUnlock(const Xml::Attributes& attributes) {
    if (open.unlock != nullptr) {
        auto& unlock = onlyOne(*open.unlock, "Unlock");
        unlock.unlockName = attributeText(attributes, "name");
        unlock.unlockParameter = attributeText(attributes, "parameter");
    }
}

template <class Action>
Action& ScriptReader::addAction() {
    charge(sizeof(Action) + overhead);
    const Ref action(new Action);
    script->actions.push_back(action);
    return *action;
}

/// The text of the element that begins here becomes the list's next entry.
void ScriptReader::collectText(Texts* list) {
    if (list != nullptr) {
        charge(sizeof(std::wstring) + overhead);
        textList = list;
        textDepth = depth;
    }
}

std::wstring ScriptReader::attributeText(const Xml::Attributes& attributes, std::string_view name) {
    const std::string_view text = attributes.find(name).value_or("");
    checkLength(text.size());
    chargeText(text.size());
    return Quarlen::Platform::fromUtf8(text);
}

void ScriptReader::chargeText(std::size_t length) {
    charge(length * bytesOfCharacter);
}

void ScriptReader::charge(std::size_t bytes) {
    charged += bytes;
    if (charged > maxMemory) {
        throw TooMuch(L"the script needs more than " + std::to_wstring(maxMemory / 1024 / 1024) +
                      L" MiB of memory");
    }
}

} // namespace Config
