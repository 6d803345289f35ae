#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "kel_cpp/report/QuickTestRecords.hpp"
#include "kel_cpp/report/RunSection.hpp"

namespace Quarlen::Kel_cpp {

/// A vehicle report is one HTML page with the results of a quick test. The caller fills a
/// `VehicleReport`; ReportPage.hpp renders it through `HtmlWriter`, ControlUnitSection.hpp writes
/// the part of each control unit, and `writeVehicleReport` stores the page as a new file. The
/// functions keep nothing between two calls and may be called from any thread.
///
/// All contents of a vehicle report as plain values.
struct VehicleReport {
    /// From the script; becomes part of the file name (characters that no file name may hold are
    /// replaced).
    std::wstring name;
    std::wstring vin;
    std::wstring project;
    std::wstring vehicleInformation;
    std::wstring serverVersion;
    std::chrono::system_clock::time_point time;
    /// Report type numbers as they are in the request; 0xFFFFFFFF and other unknown numbers are
    /// shown as unknown.
    std::vector<std::uint32_t> reportTypes;
    /// Bit flags of the parts that are wanted.
    std::uint32_t serviceMask = 0;
    std::uint32_t dtcStatusMask = 0;
    std::vector<std::shared_ptr<ControlUnitQuickTestResult>> controlUnits;
    /// What else the run has done until now.
    std::vector<RunResult> runResults;
};

/// The page as UTF-8: one self-contained HTML document, every text escaped.
std::string renderVehicleReport(const VehicleReport& report);

/// Writes the page into the folder (created when missing) as a new file with a unique name and
/// returns its absolute path. Throws `KelApiException` (code Report) that names path and cause.
std::wstring writeVehicleReport(const VehicleReport& report, const std::filesystem::path& folder);

} // namespace Quarlen::Kel_cpp
