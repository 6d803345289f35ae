#include "kel_server_lib/actions/QuicktestAction.hpp"

#include "kel_server_lib/actions/ActionFrame.hpp"
#include "kel_server_lib/sequence/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

namespace {

void performQuickTest(ServerHandlerSequence& handler, Kel_cpp::KelApi& api,
                      const std::shared_ptr<Kel_cpp::QuicktestConfig>& quicktestConfig,
                      const std::shared_ptr<Kel_cpp::DtcReadConfig>& dtcReadConfig) {
    launchJob(handler, handler.quicktestReporter, [&] {
        return api.performQuickTest(quicktestConfig, dtcReadConfig, &handler.quicktestReporter);
    });
    waitForJob(handler, handler.quicktestReporter);
}

void writeReport(ServerHandlerSequence& handler, Kel_cpp::KelApi& api,
                 const std::shared_ptr<Kel_cpp::DtcReadConfig>& dtcReadConfig,
                 const std::wstring& reportName,
                 const std::shared_ptr<Kel_cpp::VehicleReportConfig>& vehicleReportConfig) {
    const auto results = handler.quicktestReporter.takeResults();
    std::wstring fileName;
    api.createVehicleReport(fileName, reportName, dtcReadConfig, results, vehicleReportConfig);
    StdUtil::TraceHelper::InfoTrace(sequenceTraceSource, __LINE__,
                                    L"kel_server::runQuicktestAction: %s finas report craeted",
                                    fileName.c_str());
}

} // namespace

bool runQuicktestAction(ServerHandlerSequence& handler, ServerHandlerSequence::Api api,
                        const std::shared_ptr<Kel_cpp::QuicktestConfig>& quicktestConfig,
                        const std::shared_ptr<Kel_cpp::DtcReadConfig>& dtcReadConfig,
                        const std::wstring& reportName,
                        const std::shared_ptr<Kel_cpp::VehicleReportConfig>& vehicleReportConfig) {
    return runInActionFrame(handler, *api, L"runQuicktestAction", [&] {
        api->setServerStatus(L"Running quicktest action");
        if (handler.stopRaised()) {
            return;
        }
        performQuickTest(handler, *api, quicktestConfig, dtcReadConfig);
        if (vehicleReportConfig && !handler.stopRaised()) {
            writeReport(handler, *api, dtcReadConfig, reportName, vehicleReportConfig);
        }
        handler.currentJobId = 0;
    });
}

} // namespace Quarlen
