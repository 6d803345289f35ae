#pragma once

#include <string>

#include "kel_cpp/report/ReportTexts.hpp"
#include "kel_cpp/report/VehicleReport.hpp"

namespace Quarlen::Kel_cpp {

/// The whole page. The same report and time give the same bytes.
std::string renderReportPage(const VehicleReport& report, const TimeTexts& time);

} // namespace Quarlen::Kel_cpp
