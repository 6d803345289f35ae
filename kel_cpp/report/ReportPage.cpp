#include "kel_cpp/report/ReportPage.hpp"

#include <algorithm>

#include "kel_cpp/report/FaultCounts.hpp"
#include "kel_cpp/report/HtmlWriter.hpp"
#include "kel_cpp/report/ReportNotices.hpp"
#include "kel_cpp/report/ReportStyle.hpp"
#include "kel_cpp/report/RunSection.hpp"

namespace Quarlen::Kel_cpp {
namespace {

/// The page loads nothing and runs nothing, whatever its texts contain.
constexpr std::string_view headMarkup =
    R"(<meta charset="utf-8"/>)"
    R"(<meta name="viewport" content="width=device-width, initial-scale=1"/>)"
    R"(<meta http-equiv="Content-Security-Policy" )"
    R"(content="default-src 'none'; style-src 'unsafe-inline'"/>)";

constexpr std::wstring_view notKnown = L"\u2013";

std::wstring_view orDash(const std::wstring& text) {
    return text.empty() ? notKnown : std::wstring_view(text);
}

std::wstring_view titleOf(const VehicleReport& report) {
    return report.name.empty() ? std::wstring_view(L"Report") : std::wstring_view(report.name);
}

ControlUnits presentUnits(const VehicleReport& report) {
    ControlUnits units = report.controlUnits;
    std::erase(units, nullptr);
    return units;
}

std::string reportTypesText(const VehicleReport& report) {
    std::string text;
    for (const std::uint32_t type : report.reportTypes) {
        text += (text.empty() ? "" : "; ") + reportTypeText(type);
    }
    return text.empty() ? "Type not given" : text;
}

void writeHead(HtmlWriter& html, const VehicleReport& report) {
    const auto head = html.open("head");
    html.markup(headMarkup);
    {
        const auto title = html.open("title");
        html.text(titleOf(report));
        if (!report.vin.empty()) {
            html.text(L" \u2013 " + report.vin);
        }
    }
    const auto style = html.open("style");
    html.markup(reportStyle);
}

template <class Text>
void writeFact(HtmlWriter& html, std::string_view label, const Text& value) {
    const auto fact = html.open("div");
    html.element("dt", "", label);
    html.element("dd", "", value);
}

void writeTimeFact(HtmlWriter& html, const TimeTexts& time) {
    const auto fact = html.open("div");
    html.element("dt", "", "Time");
    const auto value = html.open("dd");
    const auto element = html.openWith("time", "datetime=\"" + time.forMachines + "\"");
    html.text(time.forReaders);
}

void writeMileageFact(HtmlWriter& html, const ControlUnits& units) {
    if (const std::wstring text = mileageText(units); !text.empty()) {
        writeFact(html, "Mileage", text);
    }
}

void writeFacts(HtmlWriter& html, const VehicleReport& report, const ControlUnits& units,
                const TimeTexts& time) {
    const auto facts = html.open("dl", "facts");
    writeTimeFact(html, time);
    writeFact(html, "Report type", reportTypesText(report));
    writeFact(html, "Project", orDash(report.project));
    writeFact(html, "Vehicle information", orDash(report.vehicleInformation));
    writeFact(html, "Requested fault status", dtcStatusMaskText(report.dtcStatusMask));
    writeFact(html, "Server version", orDash(report.serverVersion));
    writeMileageFact(html, units);
}

void writeCover(HtmlWriter& html, const VehicleReport& report, const ControlUnits& units,
                const TimeTexts& time) {
    const auto header = html.open("header", "card cover");
    html.element("p", "eyebrow", "Vehicle report");
    html.element("h1", "", titleOf(report));
    {
        const auto line = html.open("p", "vin-line");
        html.element("span", "soft", "VIN ");
        html.element("span", "vin", report.vin.empty() ? L"not read" : report.vin);
    }
    writeFacts(html, report, units, time);
}

void writeTile(HtmlWriter& html, std::string_view cssClass, std::string_view label,
               const std::string& value) {
    const auto tile = html.open("dl", cssClass);
    html.element("dt", "", label);
    html.element("dd", "", value);
}

std::size_t answeredCount(const ControlUnits& units) {
    return static_cast<std::size_t>(std::count_if(units.begin(), units.end(), [](const auto& unit) {
        return unit->reply == ControlUnitQuickTestResult::Reply::Answered;
    }));
}

/// Green only where none is known not to be there: every control unit has told all of it.
std::string_view tileClass(std::size_t count, std::string_view ifAny, bool isAllTold) {
    if (count != 0) {
        return ifAny;
    }
    return isAllTold ? "tile good" : "tile";
}

/// Status bits: those that make a fault one of a kind, what every control unit tells, what was
/// asked.
struct TileStatus {
    unsigned kind;
    unsigned told;
    unsigned asked;
};

void writeFaultTile(HtmlWriter& html, std::string_view label, std::size_t count,
                    std::string_view ifAny, const TileStatus& status) {
    const bool isAsked = (status.asked & status.kind) != 0;
    writeTile(html, tileClass(count, ifAny, (status.told & status.kind) != 0), label,
              isAsked || count != 0 ? std::to_string(count) : "not asked for");
}

void writeFaultTiles(HtmlWriter& html, const ControlUnits& units, const ReportParts& parts) {
    FaultCounts counts;
    unsigned told = units.empty() ? 0U : 0xFFU;
    for (const auto& unit : units) {
        counts.add(*unit);
        told &= toldStatus(*unit, parts);
    }
    writeFaultTile(html, "Confirmed faults", counts.confirmed, "tile bad",
                   {confirmedStatus, told, parts.askedStatus});
    writeFaultTile(html, "Pending faults", counts.pending, "tile note",
                   {pendingStatus, told, parts.askedStatus});
    if (counts.other != 0) {
        writeTile(html, "tile", "Other entries", std::to_string(counts.other));
    }
}

void writeSummary(HtmlWriter& html, const ControlUnits& units, const ReportParts& parts) {
    const auto tiles = html.open("div", "tiles");
    const std::size_t answered = answeredCount(units);
    writeTile(html, "tile", "Control units", std::to_string(units.size()));
    writeTile(html,
              units.empty()              ? "tile"
              : answered == units.size() ? "tile good"
                                         : "tile bad",
              "Answered", std::to_string(answered) + " of " + std::to_string(units.size()));
    if (parts.faults && parts.asksForFaults()) {
        writeFaultTiles(html, units, parts);
    } else {
        writeTile(html, "tile", "Faults", parts.asksForFaults() ? "not shown" : "not asked for");
    }
}

void writeOverviewRow(HtmlWriter& html, const ControlUnitQuickTestResult& unit, const Badge& badge,
                      std::size_t number) {
    const auto row = html.open("tr");
    {
        const auto cell = html.open("td");
        const auto link = html.openWith("a", "href=\"#" + controlUnitAnchor(number) + "\"");
        html.text(orDash(unit.name));
    }
    html.element("td", "soft", orDash(unit.link));
    const auto cell = html.open("td");
    html.element("span", badge.cssClass, badge.text);
}

void writeOverview(HtmlWriter& html, const ControlUnits& units, const ReportParts& parts) {
    const auto card = html.open("section", "card overview");
    html.element("h2", "", "Control units");
    if (units.empty()) {
        html.element("p", "soft", "No control unit was tested.");
        return;
    }
    const auto table = html.open("table");
    const auto body = html.open("tbody");
    for (std::size_t index = 0; index < units.size(); ++index) {
        writeOverviewRow(html, *units[index], controlUnitBadge(*units[index], parts), index + 1);
    }
}

void writeMain(HtmlWriter& html, const VehicleReport& report, const TimeTexts& time) {
    const auto main = html.open("main");
    const ControlUnits units = presentUnits(report);
    const ReportParts parts(report.serviceMask, report.dtcStatusMask);
    writeCover(html, report, units, time);
    writeSummary(html, units, parts);
    writeNotices(html, report, units, parts);
    writeOverview(html, units, parts);
    writeRunSection(html, report.runResults);
    for (std::size_t index = 0; index < units.size(); ++index) {
        writeControlUnitSection(html, *units[index], parts, index + 1);
    }
}

} // namespace

std::string renderReportPage(const VehicleReport& report, const TimeTexts& time) {
    HtmlWriter html;
    html.markup("<!DOCTYPE html>\n");
    {
        const auto page = html.openWith("html", R"(lang="en")");
        writeHead(html, report);
        const auto body = html.open("body");
        writeMain(html, report, time);
    }
    html.markup("\n");
    return html.take();
}

} // namespace Quarlen::Kel_cpp
