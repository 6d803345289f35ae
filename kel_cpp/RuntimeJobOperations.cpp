#include <utility>

#include "kel_cpp/DataFolders.hpp"
#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/history/WatchedReports.hpp"
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
template <class Result, class Body>
KelApi::JobId Runtime::launch(Launch<Result> what, Body body) {
    const std::stop_token closing = what.access->closing();
    return jobs.start(
        [log = runs, what = std::move(what),
         body = std::move(body)](JobId id, const std::stop_token& cancel) {
            WatchedReports<Result> watched(*what.callback,
                                           JobWatch(log, id, what.kind, what.name, what.units));
            JobReport<Result> report(watched, id);
            body(report, cancel);
        },
        closing);
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
        Launch<ServiceResult> what{&required(callback), order.access(),
                                   order.isProcedure() ? JobKind::Procedure : JobKind::Service,
                                   order.name()};
        return launch(std::move(what),
                      [order = std::move(order), &clock = environment.clock](
                          JobReport<ServiceResult>& report, const std::stop_token& cancel) {
                          order.executeAsJob(report, cancel, clock);
                      });
    });
}

KelApi::JobId Runtime::performQuickTest(std::shared_ptr<QuicktestConfig> config,
                                        std::shared_ptr<DtcReadConfig> dtcReadConfig,
                                        PerformQuickTestCallback* callback) {
    return guarded(L"performQuickTest", [&] {
        SelectedVehicle vehicle = selection.withAccess();
        Launch<QuickTestResult> what{&required(callback), vehicle.access, JobKind::QuickTest,
                                     vehicle.information->name};
        QuickTest test(std::move(vehicle), config ? *config : QuicktestConfig(),
                       dtcReadConfig ? *dtcReadConfig : DtcReadConfig());
        what.units = test.unitCount();
        return launch(std::move(what),
                      [test = std::move(test), atOnce = environment.unitsAtOnce](
                          JobReport<QuickTestResult>& report, const std::stop_token& cancel) {
                          test.run(report, cancel, atOnce);
                      });
    });
}

KelApi::JobId Runtime::executeFlashSessions(const std::wstring& flashItem,
                                            const std::vector<std::wstring>& sessionNames,
                                            std::uint32_t /*flags*/,
                                            ExecuteFlashSessionsCallback* callback) {
    return guarded(L"executeFlashSessions", [&] {
        SelectedVehicle vehicle = selection.withAccess();
        Launch<FlashResult> what{&required(callback), vehicle.access, JobKind::Flash, flashItem};
        const auto folder = settings.inEffect().dataFolder / Platform::toPath(flashDataFolder);
        FlashJob flash(std::move(vehicle), flashItem, sessionNames, folder,
                       {environment.clock, environment.now});
        return launch(std::move(what), [flash = std::move(flash)](JobReport<FlashResult>& report,
                                                                  const std::stop_token& cancel) {
            flash.run(report, cancel);
        });
    });
}

void Runtime::cancelJobs(const std::vector<JobId>& ids) {
    guarded(L"cancelJobs", [&] { jobs.cancel(ids); });
}

} // namespace Quarlen::Kel_cpp
