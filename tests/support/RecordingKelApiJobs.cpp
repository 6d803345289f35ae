// The operations of the recording runtime that concern jobs and services.

#include <stdexcept>
#include <string>
#include <utility>

#include "tests/support/CallText.hpp"
#include "tests/support/RecordingKelApi.hpp"

namespace Quarlen::Tests {

using namespace Kel_cpp;

namespace {

template <class Callback>
void runJob(const std::function<void(Callback&)>& job, Callback* callback) {
    if (callback == nullptr) {
        throw std::invalid_argument("a job was launched without a callback");
    }
    if (job) {
        job(*callback);
    } else {
        callback->report({}, 0, nullptr, true);
    }
}

} // namespace

void RecordingKelApi::getFlashInfo(std::shared_ptr<FlashInfo>& info,
                                   const std::wstring& flashItem) {
    record("getFlashInfo", CallText::oneOf(flashItem) + CallText::whenSet("info", info != nullptr));
    info = flashInfo;
}

void RecordingKelApi::getFlashSessions(RecordList<FlashSession>& sessions, const std::wstring& item,
                                       const std::wstring& target) {
    record("getFlashSessions", CallText::oneOf(item) + ", " + CallText::oneOf(target) +
                                   CallText::whenSet("sessions", !sessions.empty()));
    sessions = flashSessions;
}

KelApi::JobId RecordingKelApi::executeFlashSessions(const std::wstring& flashItem,
                                                    const std::vector<std::wstring>& sessionNames,
                                                    std::uint32_t flags,
                                                    ExecuteFlashSessionsCallback* callback) {
    keep(flashCallback, callback);
    record("executeFlashSessions",
           CallText::oneOf(flashItem) + CallText::following(CallText::list(sessionNames)) + ", " +
               std::to_string(flags) + CallText::whenNull("callback", callback));
    runJob(flashJob, callback);
    return jobId;
}

KelApi::JobId RecordingKelApi::performQuickTest(std::shared_ptr<QuicktestConfig> config,
                                                std::shared_ptr<DtcReadConfig> dtcConfig,
                                                PerformQuickTestCallback* callback) {
    const std::string missing = CallText::whenNull("configuration", config) +
                                CallText::whenNull("DTC configuration", dtcConfig) +
                                CallText::whenNull("callback", callback);
    keep(quicktestConfig, std::move(config));
    keep(dtcReadConfig, std::move(dtcConfig));
    keep(quickTestCallback, callback);
    record("performQuickTest", missing);
    runJob(quickTestJob, callback);
    return jobId;
}

void RecordingKelApi::executeServiceSync(RecordList<ServiceResult>& results,
                                         const std::wstring& logicalLink,
                                         const RecordList<ServiceInput>& inputs) {
    record("executeServiceSync", CallText::oneOf(logicalLink) +
                                     CallText::following(CallText::list(inputs)) +
                                     CallText::whenSet("results", !results.empty()));
    results = syncServiceResults;
}

KelApi::JobId RecordingKelApi::executeService(const std::wstring& target,
                                              const RecordList<ServiceInput>& inputs,
                                              ExecuteServiceCallback* callback) {
    keep(serviceInputs, inputs);
    keep(serviceCallback, callback);
    record("executeService", CallText::oneOf(target) + CallText::following(CallText::list(inputs)) +
                                 CallText::whenNull("callback", callback));
    runJob(serviceJob, callback);
    return jobId;
}

void RecordingKelApi::identifyVehicle(RecordList<IdentifiedTarget>& found, std::uint32_t flags,
                                      std::shared_ptr<VehicleIdentification>& identification) {
    record("identifyVehicle", std::to_string(flags) + CallText::whenSet("targets", !found.empty()) +
                                  CallText::whenSet("identification", identification != nullptr));
    found = identifiedTargets;
    identification = std::make_shared<VehicleIdentification>();
}

void RecordingKelApi::cancelJobs(const std::vector<JobId>& jobs) {
    record("cancelJobs", CallText::list(jobs));
}

void RecordingKelApi::createVehicleReport(std::wstring& fileName, const std::wstring& reportName,
                                          std::shared_ptr<DtcReadConfig> dtcConfig,
                                          const RecordList<QuickTestResult>& results,
                                          std::shared_ptr<VehicleReportConfig> reportConfig) {
    const std::string missing = CallText::whenNull("DTC configuration", dtcConfig) +
                                CallText::whenNull("report configuration", reportConfig);
    keep(reportDtcReadConfig, std::move(dtcConfig));
    keep(reportResults, results);
    keep(vehicleReportConfig, std::move(reportConfig));
    record("createVehicleReport", CallText::oneOf(reportName) +
                                      CallText::whenSet("file name", !fileName.empty()) + missing);
    fileName = reportFileName;
}

std::shared_ptr<UnlockSession>
RecordingKelApi::openUnlockSession(const std::wstring& name,
                                   const std::vector<std::wstring>& parameters) {
    record("openUnlockSession",
           CallText::oneOf(name) + CallText::following(CallText::list(parameters)));
    auto session = std::make_shared<UnlockSession>();
    session->handle = unlockHandle;
    return session;
}

void RecordingKelApi::releaseJob(std::uint64_t handle) {
    record("releaseJob", std::to_string(handle));
}

} // namespace Quarlen::Tests
