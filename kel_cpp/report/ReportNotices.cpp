#include "kel_cpp/report/ReportNotices.hpp"

#include <algorithm>
#include <utility>

#include "kel_cpp/report/ReportTexts.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

namespace {

/// Values with the names of the control units that have them, in the order of the first.
class ValueGroups {
public:
    void add(const std::wstring& value, const std::wstring& unitName) {
        const auto known = std::find_if(groups.begin(), groups.end(),
                                        [&](const auto& group) { return group.first == value; });
        if (known == groups.end()) {
            groups.emplace_back(value, unitName);
        } else {
            known->second += L", " + unitName;
        }
    }

    [[nodiscard]] std::size_t count() const { return groups.size(); }

    /// "A (ENGINE, GATEWAY), B (BRAKES)"
    [[nodiscard]] std::wstring text() const {
        std::wstring whole;
        for (const auto& [value, names] : groups) {
            whole.append(whole.empty() ? L"" : L", ").append(value);
            whole.append(L" (").append(names).append(L")");
        }
        return whole;
    }

private:
    std::vector<std::pair<std::wstring, std::wstring>> groups;
};

void writeUnavailable(HtmlWriter& html, std::uint32_t serviceMask) {
    const std::vector<std::string> services = unavailableReportServices(serviceMask);
    if (services.empty()) {
        return;
    }
    const auto notice = html.open("div", "notice unavailable");
    html.element("strong", "", "Requested, but not available:");
    const auto list = html.open("ul");
    for (const std::string& service : services) {
        html.element("li", "", service);
    }
}

void writeVinNotice(HtmlWriter& html, const ControlUnits& units) {
    ValueGroups vins;
    for (const auto& unit : units) {
        for (const IdentificationValue& value : unit->identification) {
            const bool isVin = value.dataIdentifier == Uds::Did::vin &&
                               value.state == IdentificationValue::State::Read &&
                               !value.value.empty();
            if (isVin) {
                vins.add(value.value, unit->name);
            }
        }
    }
    if (vins.count() > 1) {
        html.element("p", "notice vins",
                     L"The control units do not have the same VIN: " + vins.text() + L".");
    }
}

void writeInterruptedNotice(HtmlWriter& html, const ControlUnits& units) {
    std::wstring names;
    for (const auto& unit : units) {
        if (wasInterrupted(*unit)) {
            names += (names.empty() ? L"" : L", ") + unit->name;
        }
    }
    if (!names.empty()) {
        html.element("p", "error interrupted",
                     L"The programming was interrupted, and the software is not valid: " + names +
                         L".");
    }
}

} // namespace

void writeNotices(HtmlWriter& html, const VehicleReport& report, const ControlUnits& units,
                  const ReportParts& parts) {
    if (report.serviceMask == 0) {
        html.element("p", "notice", "No report service was requested: only answers are shown.");
    }
    if (parts.faults && !parts.asksForFaults()) {
        html.element("p", "notice no-status",
                     "The report was to show faults, but no fault status was asked for: whether "
                     "the vehicle has faults is not known.");
    }
    writeUnavailable(html, report.serviceMask);
    writeInterruptedNotice(html, units);
    writeVinNotice(html, units);
}

std::wstring mileageText(const ControlUnits& units) {
    ValueGroups mileages;
    bool isAskedFor = false;
    for (const auto& unit : units) {
        isAskedFor = isAskedFor || unit->mileage.has_value();
        if (unit->mileage && !unit->mileage->empty()) {
            mileages.add(*unit->mileage, unit->name);
        }
    }
    return isAskedFor && mileages.count() == 0 ? L"not supported" : mileages.text();
}

} // namespace Quarlen::Kel_cpp
