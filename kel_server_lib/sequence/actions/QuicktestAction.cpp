#include "kel_server_lib/sequence/actions/QuicktestAction.hpp"

#include "kel_server_lib/sequence/actions/ActionFrame.hpp"
#include "kel_server_lib/sequence/actions/SequenceTrace.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

namespace {

void performQuickTest(RunState& state, Kel_cpp::KelApi& api,
                      const std::shared_ptr<Kel_cpp::QuicktestConfig>& quicktestConfig,
                      const std::shared_ptr<Kel_cpp::DtcReadConfig>& dtcReadConfig) {
    launchJob(state, state.quicktestReporter, [&] {
        return api.performQuickTest(quicktestConfig, dtcReadConfig, &state.quicktestReporter);
    });
    waitForJob(state, state.quicktestReporter);
}

void writeReport(RunState& state, Kel_cpp::KelApi& api,
                 const std::shared_ptr<Kel_cpp::DtcReadConfig>& dtcReadConfig,
                 const std::wstring& reportName,
                 const std::shared_ptr<Kel_cpp::VehicleReportConfig>& vehicleReportConfig) {
    const auto results = state.quicktestReporter.takeResults();
    std::wstring fileName;
    api.createVehicleReport(fileName, reportName, dtcReadConfig, results, vehicleReportConfig);
    StdUtil::TraceHelper::InfoTrace(sequenceTraceSource, __LINE__,
                                    L"kel_server::runQuicktestAction: %s finas report craeted",
                                    fileName.c_str());
}

} // namespace

bool runQuicktestAction(RunState& state, RunState::Api api,
                        const std::shared_ptr<Kel_cpp::QuicktestConfig>& quicktestConfig,
                        const std::shared_ptr<Kel_cpp::DtcReadConfig>& dtcReadConfig,
                        const std::wstring& reportName,
                        const std::shared_ptr<Kel_cpp::VehicleReportConfig>& vehicleReportConfig) {
    return runInActionFrame(state, *api, L"runQuicktestAction", [&] {
        api->setServerStatus(L"Running quicktest action");
        if (state.stopRaised()) {
            return;
        }
        performQuickTest(state, *api, quicktestConfig, dtcReadConfig);
        if (vehicleReportConfig && !state.stopRaised()) {
            writeReport(state, *api, dtcReadConfig, reportName, vehicleReportConfig);
        }
        state.currentJobId = 0;
    });
}

} // namespace Quarlen
