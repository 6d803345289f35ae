#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kel_cpp/report/HtmlWriter.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"

namespace Quarlen::Kel_cpp {

/// Which parts of a control unit a report shows.
struct ReportParts {
    ReportParts(std::uint32_t serviceMask, std::uint32_t statusMask);

    /// Without any status a control unit has no fault to tell.
    [[nodiscard]] bool asksForFaults() const { return askedStatus != 0; }

    bool identification;
    bool faults;
    bool supported;
    /// The status bits of the request.
    std::uint8_t askedStatus;
};

/// A short text and its colour.
struct Badge {
    std::string text;
    std::string_view cssClass;
};

/// True when it answered and everything that was asked for could be read.
bool isComplete(const ControlUnitQuickTestResult& unit);

/// The status bits that were asked for and of which the control unit tells which faults have them;
/// 0 when it has not told all of its faults.
[[nodiscard]] unsigned toldStatus(const ControlUnitQuickTestResult& unit, const ReportParts& parts);

/// What is worst: "No answer" or "Not tested", "Incomplete" (an error, but it answered), "Software
/// not valid", "2 confirmed, 1 pending", then what keeps the faults from being known, and only then
/// "No faults"; "Answered" when faults are not shown.
Badge controlUnitBadge(const ControlUnitQuickTestResult& unit, const ReportParts& parts);

/// Value of the section's `id`, for links; counted from 1.
std::string controlUnitAnchor(std::size_t number);

/// For a control unit with an error the section shows the error and the data that was read before
/// it, but never "no faults".
void writeControlUnitSection(HtmlWriter& html, const ControlUnitQuickTestResult& unit,
                             const ReportParts& parts, std::size_t number);

/// "1 fault", "2 faults"
std::string counted(std::size_t count, std::string_view singular);

} // namespace Quarlen::Kel_cpp
