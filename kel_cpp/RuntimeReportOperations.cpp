#include <chrono>
#include <utility>

#include "kel_cpp/ComponentVersions.hpp"
#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/access/VehicleQueries.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/history/RunResults.hpp"
#include "kel_cpp/report/ReportTexts.hpp"
#include "kel_cpp/report/VehicleReport.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::vector<std::shared_ptr<ControlUnitQuickTestResult>>
ownResults(const RecordList<QuickTestResult>& results) {
    std::vector<std::shared_ptr<ControlUnitQuickTestResult>> own;
    for (const auto& result : results) {
        own.push_back(std::dynamic_pointer_cast<ControlUnitQuickTestResult>(result));
        if (!own.back()) {
            throw runtimeError(ErrorCode::Report,
                               L"a quick-test result of the report was not made by this runtime");
        }
    }
    return own;
}

/// Empty without a connection to the vehicle.
std::wstring vinOf(const SelectedVehicle& vehicle) {
    try {
        return vehicle.access ? readVin(vehicle) : std::wstring();
    } catch (const Uds::LinkError&) {
        return {};
    } catch (const Uds::Cancelled&) {
        return {};
    }
}

/// Fills the parts of a report that come from the selection.
VehicleReport reportOf(const SelectedVehicle& vehicle) {
    VehicleReport report;
    report.time = std::chrono::system_clock::now();
    report.serverVersion = runtimeVersion();
    if (vehicle.project) {
        report.project = vehicle.project->name;
    }
    if (vehicle.information != nullptr) {
        report.vehicleInformation = vehicle.information->name;
        report.vin = vinOf(vehicle);
    }
    return report;
}

/// A report without a status that is to show faults leaves the reader without an answer.
void pointOutMissingStatus(const VehicleReport& report) {
    if ((report.serviceMask & reportServiceCurrentDtcs) != 0 &&
        (report.dtcStatusMask & 0xFFU) == 0) {
        StdUtil::TraceHelper::ErrorTrace(
            L"kel_cpp/Runtime", __LINE__,
            L"the report %s is to show faults (CurrentDtcs), but the script names no DtcStatus: no "
            L"fault was asked for",
            inQuotes(report.name).c_str());
    }
}

} // namespace

void Runtime::createVehicleReport(std::wstring& fileName, const std::wstring& reportName,
                                  std::shared_ptr<DtcReadConfig> dtcReadConfig,
                                  const RecordList<QuickTestResult>& results,
                                  std::shared_ptr<VehicleReportConfig> reportConfig) {
    guarded(L"createVehicleReport", [&] {
        if (!reportConfig) {
            throw runtimeError(ErrorCode::Report, L"a vehicle report needs its configuration");
        }
        auto controlUnitResults = ownResults(results);
        VehicleReport report = reportOf(selection.current());
        report.name = reportName;
        report.reportTypes = reportConfig->reportTypes;
        report.serviceMask = reportConfig->serviceMask;
        report.dtcStatusMask = dtcReadConfig ? dtcReadConfig->statusMask : 0;
        report.controlUnits = std::move(controlUnitResults);
        if (report.vin.empty()) {
            report.vin = readVinOf(report.controlUnits);
        }
        report.runResults = runResults(latestRun());
        pointOutMissingStatus(report);
        fileName = writeVehicleReport(report, reportsFolder());
        runs->reportWritten(Platform::fromPath(Platform::toPath(fileName).filename()));
    });
}

} // namespace Quarlen::Kel_cpp
