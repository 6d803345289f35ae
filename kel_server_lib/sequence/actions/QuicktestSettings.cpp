#include "kel_server_lib/sequence/actions/QuicktestSettings.hpp"

#include "kel_server_lib/sequence/actions/TargetList.hpp"
#include "kel_server_lib/tables/DtcStatusTable.hpp"
#include "kel_server_lib/tables/ReportServiceTable.hpp"
#include "kel_server_lib/tables/ReportTypeTable.hpp"

namespace Quarlen {

namespace {

std::shared_ptr<Kel_cpp::DtcReadConfig> dtcReadConfig(const Config::CfxQuicktestAction& action) {
    auto config = std::make_shared<Kel_cpp::DtcReadConfig>();
    for (const std::wstring& text : action.dtcStatus) {
        config->statusMask |= dtcStatusFromText(text);
    }
    config->freezeFrames = action.freezeFrames;
    config->extendedData = action.extendedData;
    return config;
}

std::shared_ptr<Kel_cpp::VehicleReportConfig>
vehicleReportConfig(const Config::VehicleReportSetting& setting) {
    auto config = std::make_shared<Kel_cpp::VehicleReportConfig>();
    for (const std::wstring& text : setting.services) {
        config->serviceMask |= reportServiceFromText(text);
    }
    if (setting.reportType) {
        config->reportTypes = {reportTypeFromText(*setting.reportType)};
    }
    return config;
}

} // namespace

QuicktestSettings quicktestSettings(Kel_cpp::KelApi& api,
                                    const Config::CfxQuicktestAction& action) {
    QuicktestSettings settings;
    settings.quicktest = std::make_shared<Kel_cpp::QuicktestConfig>();
    settings.quicktest->targets = targetList(api, action.items, action.targets);
    // A script that asks for targets none of which exists must not test the whole vehicle.
    settings.quicktest->everyControlUnit = action.items.empty() && action.targets.empty();
    settings.quicktest->mileage = action.mileage;
    settings.dtcRead = dtcReadConfig(action);
    if (action.vehicleReport) {
        settings.report = vehicleReportConfig(*action.vehicleReport);
    }
    return settings;
}

} // namespace Quarlen
