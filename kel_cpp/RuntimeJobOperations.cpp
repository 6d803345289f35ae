#include <utility>

#include "kel_cpp/DataFolders.hpp"
#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/jobs/FlashJob.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "kel_cpp/jobs/QuickTest.hpp"
#include "kel_cpp/jobs/ServiceOrder.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

template <class Callback>
Callback& required(Callback* callback) {
    if (callback == nullptr) {
        throw runtimeError(ErrorCode::Internal, L"a job needs a callback to report to");
    }
    return *callback;
}

} // namespace

/// Starts a job whose order has been checked: failures of the job are reported, not thrown. The job
/// is cancelled when its access is closed.
template <class Body>
KelApi::JobId Runtime::launch(const std::shared_ptr<VehicleAccess>& access, Body body) {
    return jobs.start(std::move(body), access->closing());
}

void Runtime::executeServiceSync(RecordList<ServiceResult>& results,
                                 const std::wstring& logicalLink,
                                 const RecordList<ServiceInput>& inputs) {
    guarded(L"executeServiceSync", [&] {
        const auto order = ServiceOrder::overLink(selection.withAccess(), logicalLink, inputs);
        results = order.execute(order.access()->closing(), environment.clock);
    });
}

KelApi::JobId Runtime::executeService(const std::wstring& target,
                                      const RecordList<ServiceInput>& inputs,
                                      ExecuteServiceCallback* callback) {
    return guarded(L"executeService", [&] {
        auto order = ServiceOrder::toTarget(selection.withAccess(), target, inputs);
        const auto access = order.access();
        return launch(access,
                      [order = std::move(order), &reports = required(callback),
                       &clock = environment.clock](JobId id, const std::stop_token& cancel) {
                          JobReport<ServiceResult> report(reports, id);
                          order.executeAsJob(report, cancel, clock);
                      });
    });
}

KelApi::JobId Runtime::performQuickTest(std::shared_ptr<QuicktestConfig> config,
                                        std::shared_ptr<DtcReadConfig> dtcReadConfig,
                                        PerformQuickTestCallback* callback) {
    return guarded(L"performQuickTest", [&] {
        SelectedVehicle vehicle = selection.withAccess();
        const auto access = vehicle.access;
        QuickTest test(std::move(vehicle), config ? *config : QuicktestConfig(),
                       dtcReadConfig ? dtcReadConfig->statusMask : 0);
        return launch(access,
                      [test = std::move(test), &reports = required(callback),
                       &clock = environment.clock](JobId id, const std::stop_token& cancel) {
                          JobReport<QuickTestResult> report(reports, id);
                          test.run(report, cancel, clock);
                      });
    });
}

KelApi::JobId Runtime::executeFlashSessions(const std::wstring& flashItem,
                                            const std::vector<std::wstring>& sessionNames,
                                            std::uint32_t /*flags*/,
                                            ExecuteFlashSessionsCallback* callback) {
    return guarded(L"executeFlashSessions", [&] {
        SelectedVehicle vehicle = selection.withAccess();
        const auto access = vehicle.access;
        const auto folder = settings.inEffect().dataFolder / Platform::toPath(flashDataFolder);
        FlashJob flash(std::move(vehicle), flashItem, sessionNames, folder);
        return launch(access,
                      [flash = std::move(flash), &reports = required(callback),
                       &clock = environment.clock](JobId id, const std::stop_token& cancel) {
                          JobReport<FlashResult> report(reports, id);
                          flash.run(report, cancel, clock);
                      });
    });
}

void Runtime::cancelJobs(const std::vector<JobId>& ids) {
    guarded(L"cancelJobs", [&] { jobs.cancel(ids); });
}

} // namespace Quarlen::Kel_cpp
