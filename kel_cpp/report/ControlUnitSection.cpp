#include "kel_cpp/report/ControlUnitSection.hpp"

#include "kel_cpp/report/ReportTexts.hpp"

namespace Quarlen::Kel_cpp {
namespace {

void writeTableHead(HtmlWriter& html, std::initializer_list<std::string_view> columns) {
    const auto head = html.open("thead");
    const auto row = html.open("tr");
    for (const std::string_view column : columns) {
        html.element("th", "", column);
    }
}

void writeHeading(HtmlWriter& html, const ControlUnitQuickTestResult& unit, const Badge& badge) {
    const auto head = html.open("div", "unit-head");
    html.element("h2", "", unit.name.empty() ? L"Unnamed control unit" : unit.name);
    html.element("span", badge.cssClass, badge.text);
    if (!unit.link.empty()) {
        html.element("span", "soft", unit.link);
    }
}

void writeIdentificationRow(HtmlWriter& html, const IdentificationValue& value) {
    const auto row = html.open("tr");
    {
        const auto cell = html.open("td", "did");
        html.element("code", "", hexadecimal(value.dataIdentifier, 4));
    }
    html.element("td", "", value.name);
    html.element("td", "value", value.value);
}

void writeIdentification(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    html.element("h3", "", "Identification");
    if (unit.identification.empty()) {
        html.element("p", "soft", "No identification values.");
        return;
    }
    const auto wide = html.open("div", "wide");
    const auto table = html.open("table", "identification");
    writeTableHead(html, {"Identifier", "Name", "Value"});
    const auto body = html.open("tbody");
    for (const IdentificationValue& value : unit.identification) {
        writeIdentificationRow(html, value);
    }
}

void writeCodeCell(HtmlWriter& html, const DtcReading& dtc) {
    const auto cell = html.open("td", "code");
    html.element("strong", "", dtcNotation(dtc.code));
    html.markup(" ");
    const auto number = html.open("span");
    html.element("code", "", hexadecimal(dtc.code & 0xFFFFFFU, 6));
}

void writeTextCell(HtmlWriter& html, const DtcReading& dtc) {
    if (dtc.text.empty()) {
        html.element("td", "soft", "No text for this code");
    } else {
        html.element("td", "", dtc.text);
    }
}

void writeStatusBit(HtmlWriter& html, const DtcStatusBit& bit, std::uint8_t status) {
    const bool isSet = (status & bit.mask) != 0;
    const std::string_view cssClass = isSet && bit.fault ? "set fault" : isSet ? "set" : "unset";
    const auto chip = html.openWith("li", "class=\"" + std::string(cssClass) + "\" title=\"" +
                                              std::string(bit.scriptName) + "\"");
    html.text(bit.words);
    html.element("span", "unseen", isSet ? " set" : " not set");
}

void writeStatusCell(HtmlWriter& html, std::uint8_t status) {
    const auto cell = html.open("td", "status");
    html.element("code", "", hexadecimal(status, 2));
    const auto bits = html.open("ul", "bits");
    for (const DtcStatusBit& bit : dtcStatusBits) {
        writeStatusBit(html, bit, status);
    }
}

void writeFaultRow(HtmlWriter& html, const DtcReading& fault) {
    const auto row = html.open("tr");
    writeCodeCell(html, fault);
    writeTextCell(html, fault);
    writeStatusCell(html, fault.status);
}

/// Writes a notice when the control unit's own fault count differs from the length of its list.
void writeCountNotice(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    if (unit.faultCount != 0 && unit.faultCount != unit.faults.size()) {
        html.element("p", "notice",
                     "The control unit counts " + counted(unit.faultCount, "fault") +
                         ", but its list holds " + std::to_string(unit.faults.size()) + ".");
    }
}

void writeFaults(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    html.element("h3", "", "Faults");
    writeCountNotice(html, unit);
    if (unit.faults.empty()) {
        html.element("p", "none", "No faults with the requested status.");
        return;
    }
    const auto wide = html.open("div", "wide");
    const auto table = html.open("table", "faults");
    writeTableHead(html, {"Code", "Fault", "Status"});
    const auto body = html.open("tbody");
    for (const DtcReading& fault : unit.faults) {
        writeFaultRow(html, fault);
    }
}

void writeSupportedRow(HtmlWriter& html, const DtcReading& dtc) {
    const auto row = html.open("tr");
    writeCodeCell(html, dtc);
    writeTextCell(html, dtc);
    const auto cell = html.open("td", "did");
    html.element("code", "", hexadecimal(dtc.status, 2));
}

void writeSupported(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    if (unit.supported.empty()) {
        html.element("h3", "", "Supported fault codes");
        html.element("p", "soft", "The control unit lists no supported fault codes.");
        return;
    }
    const auto fold = html.open("details");
    html.element("summary", "", counted(unit.supported.size(), "supported fault code"));
    const auto wide = html.open("div", "wide");
    const auto table = html.open("table", "supported");
    writeTableHead(html, {"Code", "Fault", "Status"});
    const auto body = html.open("tbody");
    for (const DtcReading& dtc : unit.supported) {
        writeSupportedRow(html, dtc);
    }
}

bool hasData(const ControlUnitQuickTestResult& unit) {
    return !unit.identification.empty() || !unit.faults.empty() || !unit.supported.empty();
}

void writeError(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    const auto paragraph = html.open("p", "error");
    html.element("strong", "", hasData(unit) ? "Incomplete: " : "No answer: ");
    html.text(unit.errorText);
}

} // namespace

ReportParts::ReportParts(std::uint32_t serviceMask)
    : identification((serviceMask & reportServiceIdentValues) != 0),
      faults((serviceMask & reportServiceCurrentDtcs) != 0),
      supported((serviceMask & reportServiceSupportedDtcs) != 0) {}

Badge controlUnitBadge(const ControlUnitQuickTestResult& unit, const ReportParts& parts) {
    if (!unit.errorText.empty()) {
        return {hasData(unit) ? "Incomplete" : "No answer", "badge bad"};
    }
    if (!parts.faults) {
        return {"Answered", "badge good"};
    }
    if (unit.faults.empty()) {
        return {"No faults", "badge good"};
    }
    return {counted(unit.faults.size(), "fault"), "badge bad"};
}

std::string controlUnitAnchor(std::size_t number) {
    return "unit-" + std::to_string(number);
}

void writeControlUnitSection(HtmlWriter& html, const ControlUnitQuickTestResult& unit,
                             const ReportParts& parts, std::size_t number) {
    const auto section =
        html.openWith("section", "class=\"card unit\" id=\"" + controlUnitAnchor(number) + "\"");
    writeHeading(html, unit, controlUnitBadge(unit, parts));
    const bool answered = unit.errorText.empty();
    if (!answered) {
        writeError(html, unit);
    }
    if (parts.faults && (answered || !unit.faults.empty())) {
        writeFaults(html, unit);
    }
    if (parts.identification && (answered || !unit.identification.empty())) {
        writeIdentification(html, unit);
    }
    if (parts.supported && (answered || !unit.supported.empty())) {
        writeSupported(html, unit);
    }
}

std::string counted(std::size_t count, std::string_view singular) {
    return std::to_string(count) + " " + std::string(singular) + (count == 1 ? "" : "s");
}

} // namespace Quarlen::Kel_cpp
