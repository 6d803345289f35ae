#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kel_cpp/report/ControlUnitSection.hpp"
#include "kel_cpp/report/HtmlWriter.hpp"
#include "kel_cpp/report/VehicleReport.hpp"

namespace Quarlen::Kel_cpp {

using ControlUnits = std::vector<std::shared_ptr<ControlUnitQuickTestResult>>;

/// What a reader has to know before the results: what was not asked for or is not available,
/// control units of different vehicles, software that is not valid. No unit is null.
void writeNotices(HtmlWriter& html, const VehicleReport& report, const ControlUnits& units,
                  const ReportParts& parts);

/// The mileage of the control units that tell it, "123456.0 km (ENGINE)"; each value once. Empty
/// when none was asked for.
std::wstring mileageText(const ControlUnits& units);

} // namespace Quarlen::Kel_cpp
