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
    explicit ReportParts(std::uint32_t serviceMask);

    bool identification;
    bool faults;
    bool supported;
};

/// A short text and its colour.
struct Badge {
    std::string text;
    std::string_view cssClass;
};

/// "No answer", "Incomplete" (an error, but some data), "No faults", "3 faults" or "Answered", the
/// last one when faults are not shown.
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
