#include "kel_cpp/report/ControlUnitSection.hpp"

#include "kel_cpp/report/FaultCounts.hpp"
#include "kel_cpp/report/FaultTable.hpp"
#include "kel_cpp/report/ReportTexts.hpp"

namespace Quarlen::Kel_cpp {
namespace {

using Unit = ControlUnitQuickTestResult;
using State = IdentificationValue::State;

constexpr std::string_view good = "badge good";
constexpr std::string_view bad = "badge bad";
constexpr std::string_view note = "badge note";
constexpr std::string_view quiet = "badge quiet";

void writeHeading(HtmlWriter& html, const Unit& unit, const Badge& badge) {
    const auto head = html.open("div", "unit-head");
    html.element("h2", "", unit.name.empty() ? L"Unnamed control unit" : unit.name);
    html.element("span", badge.cssClass, badge.text);
    if (!unit.link.empty()) {
        html.element("span", "soft", unit.link);
    }
}

std::string_view valueClass(State state) {
    switch (state) {
    case State::Interrupted:
        return "value interrupted";
    case State::NotSupported:
    case State::Refused:
        return "value soft";
    case State::Read:
        break;
    }
    return "value";
}

void writeIdentificationRow(HtmlWriter& html, const IdentificationValue& value) {
    const auto row = html.open("tr");
    {
        const auto cell = html.open("td", "did");
        html.element("code", "", hexadecimal(value.dataIdentifier, 4));
    }
    html.element("td", "", value.name);
    if (value.value.empty()) {
        html.element("td", "value soft", "empty");
    } else {
        html.element("td", valueClass(value.state), value.value);
    }
}

void writeIdentificationHead(HtmlWriter& html) {
    const auto head = html.open("thead");
    const auto row = html.open("tr");
    for (const std::string_view column : {"Identifier", "Name", "Value"}) {
        html.element("th", "", column);
    }
}

void writeIdentification(HtmlWriter& html, const Unit& unit) {
    html.element("h3", "", "Identification");
    if (unit.identification.empty()) {
        html.element("p", "soft", "No identification values.");
        return;
    }
    const auto wide = html.open("div", "wide");
    const auto table = html.open("table", "identification");
    writeIdentificationHead(html);
    const auto body = html.open("tbody");
    for (const IdentificationValue& value : unit.identification) {
        writeIdentificationRow(html, value);
    }
}

std::string_view errorWord(const Unit& unit) {
    switch (unit.reply) {
    case Unit::Reply::Silent:
        return "No answer";
    case Unit::Reply::NotAsked:
        return "Not tested";
    case Unit::Reply::Answered:
        break;
    }
    return "Incomplete";
}

void writeError(HtmlWriter& html, const Unit& unit) {
    const auto paragraph = html.open("p", "error");
    html.element("strong", "", std::string(errorWord(unit)) + ": ");
    html.text(unit.errorText);
}

Badge faultBadge(const Unit& unit, const ReportParts& parts) {
    if (!parts.asksForFaults() || !unit.faultsAskedFor) {
        return {"Faults not asked for", quiet};
    }
    FaultCounts counts;
    counts.add(unit);
    if (counts.sum() != 0) {
        return {faultCountsText(counts), counts.confirmed != 0 ? bad
                                         : counts.pending != 0 ? note
                                                               : quiet};
    }
    if (unit.faultCount != 0) {
        return {counted(unit.faultCount, "fault") + " not listed", bad};
    }
    const unsigned told = parts.askedStatus & unit.statusAvailability;
    return (told & confirmedStatus) != 0 ? Badge{"No faults", good}
           : told != 0                   ? Badge{"None with this status", quiet}
                                         : Badge{"Status not supported", quiet};
}

} // namespace

ReportParts::ReportParts(std::uint32_t serviceMask, std::uint32_t statusMask)
    : identification((serviceMask & reportServiceIdentValues) != 0),
      faults((serviceMask & reportServiceCurrentDtcs) != 0),
      supported((serviceMask & reportServiceSupportedDtcs) != 0),
      askedStatus(static_cast<std::uint8_t>(statusMask & 0xFFU)) {}

bool isComplete(const Unit& unit) {
    return unit.reply == Unit::Reply::Answered && unit.errorText.empty();
}

unsigned toldStatus(const Unit& unit, const ReportParts& parts) {
    const bool tellsAll =
        isComplete(unit) && unit.faultsAskedFor && unit.faultCount <= unit.faults.size();
    return tellsAll ? unsigned{parts.askedStatus} & unit.statusAvailability : 0U;
}

Badge controlUnitBadge(const Unit& unit, const ReportParts& parts) {
    if (!isComplete(unit)) {
        return {std::string(errorWord(unit)), bad};
    }
    if (wasInterrupted(unit)) {
        return {"Software not valid", bad};
    }
    return parts.faults ? faultBadge(unit, parts) : Badge{"Answered", good};
}

std::string controlUnitAnchor(std::size_t number) {
    return "unit-" + std::to_string(number);
}

void writeControlUnitSection(HtmlWriter& html, const Unit& unit, const ReportParts& parts,
                             std::size_t number) {
    const auto section =
        html.openWith("section", "class=\"card unit\" id=\"" + controlUnitAnchor(number) + "\"");
    writeHeading(html, unit, controlUnitBadge(unit, parts));
    const bool complete = isComplete(unit);
    if (!complete) {
        writeError(html, unit);
    }
    if (wasInterrupted(unit)) {
        html.element("p", "error",
                     "The software is not valid: the programming of this control unit was "
                     "interrupted.");
    }
    if (parts.faults && (complete || !unit.faults.empty())) {
        writeFaults(html, unit, parts.askedStatus);
    }
    if (parts.identification && (complete || !unit.identification.empty())) {
        writeIdentification(html, unit);
    }
    if (parts.supported && (complete || !unit.supported.empty())) {
        writeSupported(html, unit);
    }
}

std::string counted(std::size_t count, std::string_view singular) {
    return std::to_string(count) + " " + std::string(singular) + (count == 1 ? "" : "s");
}

} // namespace Quarlen::Kel_cpp
