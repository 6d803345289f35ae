#include "config/ScriptReader.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/FileError.hpp"
#include "config/ScriptObjects.hpp"
#include "config/XmlTree.hpp"
#include "platform/TextEncoding.hpp"

namespace Config {
namespace {

constexpr std::string_view blanks = " \t\r\n";

std::string_view withoutOuterBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The file is valid text; only a character reference can still bring in what is none.
std::wstring toText(const pugi::xml_node& place, std::string_view utf8) {
    std::wstring text = Quarlen::Platform::fromUtf8(utf8);
    if (text.empty() && !utf8.empty()) {
        throw FileError(offsetOf(place), L"a character reference that stands for no character");
    }
    return text;
}

std::wstring attributeText(const pugi::xml_node& element, const char* name) {
    return toText(element, element.attribute(name).value());
}

/// Boolean of XML Schema (datatypes, clause 3.2.2).
bool attributeFlag(const pugi::xml_node& element, const char* name, bool fallback) {
    const pugi::xml_attribute attribute = element.attribute(name);
    if (!attribute) {
        return fallback;
    }
    const std::string_view value = withoutOuterBlanks(attribute.value());
    if (value == "true" || value == "1") {
        return true;
    }
    if (value == "false" || value == "0") {
        return false;
    }
    throw FileError(offsetOf(element), L"the attribute \"" + toText(element, name) +
                                           L"\" must be true or false, not \"" +
                                           attributeText(element, name) + L"\"");
}

/// Comments and CDATA sections split the text of an element into several nodes.
std::wstring elementText(const pugi::xml_node& element) {
    std::string text;
    for (const pugi::xml_node& part : element.children()) {
        if (part.type() == pugi::node_pcdata || part.type() == pugi::node_cdata) {
            text += part.value();
        }
    }
    return toText(element, withoutOuterBlanks(text));
}

std::vector<std::wstring> childTexts(const pugi::xml_node& element, const char* name) {
    std::vector<std::wstring> texts;
    for (const pugi::xml_node& child : element.children(name)) {
        texts.push_back(elementText(child));
    }
    return texts;
}

std::vector<TargetSetting> readTargets(const pugi::xml_node& element) {
    std::vector<TargetSetting> targets;
    for (const pugi::xml_node& child : element.children("Target")) {
        targets.push_back({attributeText(child, "name"), attributeFlag(child, "enabled", true)});
    }
    return targets;
}

/// Null when it is missing.
pugi::xml_node onlyChild(const pugi::xml_node& element, const char* name) {
    const pugi::xml_node child = element.child(name);
    if (const pugi::xml_node second = child.next_sibling(name)) {
        throw FileError(offsetOf(second),
                        L"a second element \"" + toText(element, name) + L"\" in one action");
    }
    return child;
}

std::optional<UnlockDescription> readUnlock(const pugi::xml_node& action) {
    const pugi::xml_node unlock = onlyChild(action, "Unlock");
    if (!unlock) {
        return std::nullopt;
    }
    return UnlockDescription{attributeText(unlock, "name"), attributeText(unlock, "parameter")};
}

std::optional<VehicleReportSetting> readVehicleReport(const pugi::xml_node& action) {
    const pugi::xml_node report = onlyChild(action, "VehicleReport");
    if (!report) {
        return std::nullopt;
    }
    VehicleReportSetting setting;
    if (report.attribute("type")) {
        setting.reportType = attributeText(report, "type");
    }
    setting.services = childTexts(report, "Service");
    return setting;
}

Ref<ConfigObject> readExecuteAction(const pugi::xml_node& element) {
    const Ref action(new CfxExecuteAction);
    action->enabled = attributeFlag(element, "enabled", true);
    action->command = attributeText(element, "command");
    return action;
}

Ref<ConfigObject> readSelectAction(const pugi::xml_node& element) {
    const Ref action(new CfxSelectAction);
    action->project = attributeText(element, "project");
    action->vehicleInformation = attributeText(element, "vehicleInformation");
    action->autoConnect = attributeFlag(element, "autoConnect", false);
    return action;
}

Ref<ConfigObject> readQuicktestAction(const pugi::xml_node& element) {
    const Ref action(new CfxQuicktestAction);
    action->reportName = attributeText(element, "reportName");
    action->items = childTexts(element, "Item");
    action->targets = readTargets(element);
    action->dtcStatus = childTexts(element, "DtcStatus");
    action->vehicleReport = readVehicleReport(element);
    action->unlock = readUnlock(element);
    return action;
}

Ref<ConfigObject> readFlashingAction(const pugi::xml_node& element) {
    const Ref action(new CfxFlashingAction);
    action->items = childTexts(element, "Item");
    action->targets = readTargets(element);
    action->unlock = readUnlock(element);
    return action;
}

Ref<ConfigObject> readUnlockAction(const pugi::xml_node& element) {
    const Ref action(new CfxUnlockAction);
    action->unlock = readUnlock(element);
    return action;
}

struct ActionElement {
    std::string_view name;
    Ref<ConfigObject> (*read)(const pugi::xml_node& element);
};

constexpr ActionElement actionElements[] = {
    {"ExecuteAction", readExecuteAction},     {"SelectAction", readSelectAction},
    {"QuicktestAction", readQuicktestAction}, {"FlashingAction", readFlashingAction},
    {"UnlockAction", readUnlockAction},
};

/// `unknown` stands for every element without a name of ours, so that a file full of them costs
/// no more than their list.
Ref<ConfigObject> readAction(const pugi::xml_node& element, const Ref<ConfigObject>& unknown) {
    for (const ActionElement& known : actionElements) {
        if (known.name == element.name()) {
            return known.read(element);
        }
    }
    return unknown;
}

Ref<ConfigObject> readScript(const pugi::xml_node& root) {
    const Ref script(new CfxKelServerScript);
    const Ref<ConfigObject> unknown(new CfxUnknown);
    script->resultLed = attributeFlag(root, "resultLed", true);
    for (const pugi::xml_node& child : root.children()) {
        if (child.type() == pugi::node_element) {
            script->actions.push_back(readAction(child, unknown));
        }
    }
    return script;
}

} // namespace

Ref<ConfigObject> readRoot(const pugi::xml_node& root) {
    if (std::string_view(root.name()) == "KelServerScript") {
        return readScript(root);
    }
    return Ref<ConfigObject>(new CfxUnknown);
}

} // namespace Config
