#include "tools/kelctl/check/ScriptRules.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>

#include "kel_server_lib/tables/DtcStatusTable.hpp"
#include "kel_server_lib/tables/ReportServiceTable.hpp"
#include "kel_server_lib/tables/ReportTypeTable.hpp"
#include "kel_server_lib/tables/TextTable.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/Suggestion.hpp"
#include "xml/Quoting.hpp"

namespace Quarlen::Ctl {

namespace {

using Words = std::vector<std::string_view>;

enum class Content { Nothing, Elements, Text };

/// What an element may have.
struct ElementRule {
    Words attributes;
    Words children;
    Content content = Content::Nothing;
};

const std::map<std::string_view, ElementRule>& elementRules() {
    static const std::map<std::string_view, ElementRule> rules{
        {"KelServerScript",
         {{"resultLed"},
          {"SelectAction", "QuicktestAction", "FlashingAction", "ExecuteAction", "UnlockAction"},
          Content::Elements}},
        {"SelectAction", {{"project", "vehicleInformation", "autoConnect"}, {}}},
        {"QuicktestAction",
         {{"reportName", "freezeFrames", "extendedData", "mileage"},
          {"Item", "Target", "DtcStatus", "VehicleReport", "Unlock"},
          Content::Elements}},
        {"FlashingAction", {{}, {"Item", "Target", "Unlock"}, Content::Elements}},
        {"ExecuteAction", {{"enabled", "command"}, {}}},
        {"UnlockAction", {{}, {"Unlock"}, Content::Elements}},
        {"Item", {{}, {}, Content::Text}},
        {"DtcStatus", {{}, {}, Content::Text}},
        {"Target", {{"name", "enabled"}, {}}},
        {"Unlock", {{"name", "parameter"}, {}}},
        {"VehicleReport", {{"type"}, {"Service"}, Content::Elements}},
        {"Service", {{}, {}, Content::Text}}};
    return rules;
}

bool contains(const Words& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::vector<std::wstring> wide(const Words& names) {
    std::vector<std::wstring> texts;
    std::transform(names.begin(), names.end(), std::back_inserter(texts), Platform::fromUtf8);
    return texts;
}

std::wstring expectedOf(std::string_view wanted, const Words& names) {
    return alternativesTo(Platform::fromUtf8(wanted), wide(names));
}

/// One of the tables that texts are looked up in.
struct TextTable {
    const wchar_t* what = L"";
    std::uint32_t (*valueOf)(const std::wstring&) = nullptr;
    std::vector<std::wstring_view> (*texts)() = nullptr;
    const wchar_t* consequence = L"";
};

constexpr const wchar_t* everyBit = L"it sets every bit; letter case counts";
constexpr TextTable dtcStatus{L"a status of a fault", dtcStatusFromText, dtcStatusTexts, everyBit};
constexpr TextTable service{L"a service of a report", reportServiceFromText, reportServiceTexts,
                            everyBit};
constexpr TextTable reportType{L"a type of a report", reportTypeFromText, reportTypeTexts,
                               L"it is passed on as 0xFFFFFFFF; letter case counts"};

/// Goes over the elements of one script.
class SchemaCheck {
public:
    SchemaCheck(const ScriptTree& tree, FindingList& findings) : tree(tree), findings(findings) {}

    void run();

private:
    [[nodiscard]] const ScriptElement& parentOf(const ScriptElement& element) const {
        return tree.elements()[element.parent];
    }
    [[nodiscard]] const ElementRule* ruleOf(const ScriptElement& element) const;
    [[nodiscard]] bool isKnownHere(const ScriptElement& element);
    [[nodiscard]] std::string_view boundTo(const ScriptElement& element,
                                           std::string_view prefix) const;
    [[nodiscard]] bool isOfXml(const ScriptElement& element, std::string_view name,
                               std::string_view value) const;
    void checkAttributes(const ScriptElement& element, const ElementRule& rule);
    void checkContent(const ScriptElement& element, Content allowed);
    void checkTables(const ScriptElement& element);
    void checkTable(const ScriptElement& element, std::string_view text, const TextTable& table);

    const ScriptTree& tree;
    FindingList& findings;
    /// Whether the element with that index stands where it may.
    std::vector<bool> known;
};

void SchemaCheck::run() {
    const ScriptElement& root = tree.elements().front();
    if (root.name != "KelServerScript") {
        findings.error("no-script", root.place,
                       L"the root element is " + Xml::inQuotes(root.name) +
                           L": a run of the file does nothing and ends green",
                       {L"KelServerScript", {}});
        return;
    }
    for (const ScriptElement& element : tree.elements()) {
        known.push_back(isKnownHere(element));
        if (known.back()) {
            const ElementRule& rule = *ruleOf(element);
            checkAttributes(element, rule);
            checkContent(element, rule.content);
            checkTables(element);
        }
    }
}

/// Null for an element that may stand nowhere.
const ElementRule* SchemaCheck::ruleOf(const ScriptElement& element) const {
    const auto found = elementRules().find(element.name);
    return found == elementRules().end() ? nullptr : &found->second;
}

/// Inside an unknown element nothing is told: that one has been.
bool SchemaCheck::isKnownHere(const ScriptElement& element) {
    if (element.depth == 1) {
        return true;
    }
    if (!known[element.parent]) {
        return false;
    }
    const Words& expected = ruleOf(parentOf(element))->children;
    if (contains(expected, element.name)) {
        return true;
    }
    findings.error("unknown-element", element.place,
                   L"the element " + Xml::inQuotes(element.name) + L" is passed over here",
                   {expectedOf(element.name, expected), {}});
    return false;
}

/// The namespace that a prefix stands for; empty for an unknown one.
std::string_view SchemaCheck::boundTo(const ScriptElement& element, std::string_view prefix) const {
    const std::string declaration = "xmlns:" + std::string(prefix);
    const ScriptElement* at = &element;
    while (!at->hasAttribute(declaration) && at->depth > 1) {
        at = &parentOf(*at);
    }
    return at->attribute(declaration);
}

/// Declarations of namespaces, and what binds a file to its schema, may stand everywhere (XML
/// Schema, structures, clause 3.2.7).
bool SchemaCheck::isOfXml(const ScriptElement& element, std::string_view name,
                          std::string_view value) const {
    if (name.starts_with("xmlns:") || (name == "xmlns" && value.empty())) {
        return true;
    }
    const std::size_t colon = name.find(':');
    return colon != std::string_view::npos &&
           contains({"schemaLocation", "noNamespaceSchemaLocation"}, name.substr(colon + 1)) &&
           boundTo(element, name.substr(0, colon)) == "http://www.w3.org/2001/XMLSchema-instance";
}

void SchemaCheck::checkAttributes(const ScriptElement& element, const ElementRule& rule) {
    for (const auto& [name, value] : element.attributes) {
        if (!contains(rule.attributes, name) && !isOfXml(element, name, value)) {
            findings.error("unknown-attribute", element.place,
                           L"the attribute " + Xml::inQuotes(name) + L" is passed over",
                           {expectedOf(name, rule.attributes), {}});
        }
    }
}

void SchemaCheck::checkContent(const ScriptElement& element, Content allowed) {
    const bool isTooMuch = (allowed == Content::Elements && !element.text.empty()) ||
                           (allowed == Content::Nothing && element.hasText);
    if (isTooMuch) {
        const std::wstring what =
            element.text.empty() ? L"text" : L"the text " + Xml::inQuotes(element.text);
        findings.error(
            "unexpected-text", element.place,
            what + L" between the tags of " + Xml::inQuotes(element.name) + L" is passed over",
            {allowed == Content::Nothing ? L"nothing, not even blanks" : L"only elements", {}});
    }
}

void SchemaCheck::checkTables(const ScriptElement& element) {
    if (element.name == "DtcStatus") {
        checkTable(element, element.text, dtcStatus);
    } else if (element.name == "Service") {
        checkTable(element, element.text, service);
    } else if (element.name == "VehicleReport" && element.hasAttribute("type")) {
        checkTable(element, element.attribute("type"), reportType);
    }
}

void SchemaCheck::checkTable(const ScriptElement& element, std::string_view text,
                             const TextTable& table) {
    const std::wstring wanted = Platform::fromUtf8(text);
    if (table.valueOf(wanted) == unknownText) {
        const auto texts = table.texts();
        findings.error("unknown-text", element.place,
                       Xml::inQuotes(text) + L" is not " + table.what,
                       {alternativesTo(wanted, {texts.begin(), texts.end()}), table.consequence});
    }
}

} // namespace

void checkScriptSchema(const ScriptTree& tree, FindingList& findings) {
    SchemaCheck(tree, findings).run();
}

} // namespace Quarlen::Ctl
