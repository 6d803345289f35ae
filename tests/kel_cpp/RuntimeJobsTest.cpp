#include <atomic>
#include <future>
#include <thread>

#include "kel_cpp/jobs/OtxRun.hpp"
#include "kel_server_lib/runtime/AsyncReporterCallback.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/ReportCollector.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Quarlen::Tests::ServiceCollector;
using std::chrono::milliseconds;

class RuntimeJobs : public RuntimeFixture {
protected:
    KelApi::JobId start(const std::wstring& procedure, ServiceCollector& reports) {
        return runtime->executeService(L"#OTX", inputsOf({procedure}), &reports);
    }

    /// Until somebody ends it, however busy the machine is.
    void letSlowLast() const {
        folder.replaceIn("projects/Car_DEMO0000000042/project.xml", "milliseconds=\"10000\"",
                         "milliseconds=\"3600000\"");
    }
    /// Its first step reports; after that it lasts until somebody ends it.
    void letSlowTellThatItHasTheVehicle() const {
        folder.replaceIn("projects/Car_DEMO0000000042/project.xml",
                         "<Wait milliseconds=\"10000\"/>",
                         "<Request link=\"UDS_CAN_D\" send=\"3E 00\" expect=\"7E 00\"/>"
                         "<Wait milliseconds=\"3600000\"/>");
    }

    /// The error of a service that a procedure keeps waiting until the vehicle is closed, so long
    /// after somebody has called it.
    std::wstring errorOfAServiceWhenTheVehicleIsClosed(milliseconds wait) {
        connect();
        ServiceCollector reports;
        start(L"Otx_Slow", reports);
        EXPECT_TRUE(reports.waitForResults(1));
        auto waiting = std::async(std::launch::async, [&] {
            return errorOf([&] { hexService(L"UDS_CAN_D", {0x3E, 0x00}); });
        });
        EXPECT_EQ(waiting.wait_for(wait), std::future_status::timeout);
        runtime->selectProject(L"");
        EXPECT_TRUE(reports.waitForLast());
        return waiting.get();
    }

    RecordList<ServiceResult> run(const std::vector<std::wstring>& procedures) {
        ServiceCollector reports;
        runtime->executeService(L"#OTX", inputsOf(procedures), &reports);
        EXPECT_TRUE(reports.waitForLast());
        return reports.results();
    }
};

/// Uses the runtime from inside its reports.
class CallingBack : public KelApi::ExecuteServiceCallback {
public:
    explicit CallingBack(KelApi& api) : api(api) {}

    void report(RecordList<ServiceResult> /*results*/, std::uint64_t id,
                std::shared_ptr<Record> /*context*/, bool done) override {
        RecordList<ActiveConnection> connections;
        api.getActiveConnections(connections);
        api.setServerStatus(L"reported");
        api.cancelJobs({id});
        api.selectProject(L"");
        if (done) {
            last.set_value();
        }
    }

    std::promise<void> last;

private:
    KelApi& api;
};

} // namespace

TEST_F(RuntimeJobs, AProcedureReportsEachStepAndThenItsEnd) {
    connect();
    ServiceCollector reports;
    const auto id = start(L"Otx_ReadIdent", reports);
    ASSERT_TRUE(reports.waitForLast());
    EXPECT_EQ(reports.reportCount(), 5U);
    EXPECT_EQ(reports.value(), id);
    const auto results = reports.results();
    ASSERT_EQ(results.size(), 4U);
    EXPECT_EQ(results[0]->responses.at(0)->data.size(), 20U);
    EXPECT_EQ(results[3]->errorText, L"Identification read");
}

TEST_F(RuntimeJobs, AnExpectationThatIsNotMetIsAnErrorInTheResults) {
    connect();
    const auto results = run({L"Otx_Fail"});
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]->error, static_cast<std::int32_t>(ServiceError::UnexpectedAnswer));
    EXPECT_NE(results[0]->errorText.find(L"Otx_Fail"), std::wstring::npos);
}

TEST_F(RuntimeJobs, EachInputIsOneProcedureAndAFailedOneDoesNotStopTheNext) {
    connect();
    const auto results = run({L"Otx_Fail", L"Otx_ClearFaults"});
    ASSERT_EQ(results.size(), 4U);
    EXPECT_NE(results[0]->error, 0);
    EXPECT_EQ(results[3]->errorText, L"Fault memories cleared");
}

TEST_F(RuntimeJobs, AProcedureThatTheVehicleInformationDoesNotOfferDoesNotLaunch) {
    folder.replaceIn("projects/Car_DEMO0000000042/project.xml",
                     "<Procedure name=\"Otx_Fail\"/>\n  </VehicleInformation>\n\n  <!-- The",
                     "</VehicleInformation>\n\n  <!-- The");
    connect();
    ServiceCollector reports;
    const auto error = errorOf([&] { start(L"Otx_Fail", reports); });
    EXPECT_NE(error.find(L"\"VIT_A\""), std::wstring::npos);
    EXPECT_NE(error.find(L"\"Otx_Fail\""), std::wstring::npos);
}

TEST_F(RuntimeJobs, BadServiceInputsDoNotLaunch) {
    connect();
    ServiceCollector reports;
    EXPECT_NE(errorOf([&] { runtime->executeService(L"#OTX", {nullptr}, &reports); }), L"");
    EXPECT_NE(errorOf([&] { start(L"HexService", reports); }), L"");
    EXPECT_NE(errorOf([&] { start(L"", reports); }), L"");
    EXPECT_NE(errorOf([&] {
                  runtime->executeService(L"UDS_CAN_D", inputsOf({L"HexService"}), &reports);
              }),
              L"");
    EXPECT_NE(errorOf([&] { runtime->executeService(L"#OTX", inputsOf({L"Otx_Fail"}), nullptr); }),
              L"");
    EXPECT_EQ(reports.reportCount(), 0U);
}

TEST_F(RuntimeJobs, ARawRequestMayRunAsAJobOverALogicalLink) {
    connect();
    auto inputs = inputsOf({L"HexService"});
    inputs[0]->requestBytes = {0x22, 0xF1, 0x90};
    ServiceCollector reports;
    runtime->executeService(L"UDS_CAN_D", inputs, &reports);
    ASSERT_TRUE(reports.waitForLast());
    EXPECT_EQ(reports.results().at(0)->responses.at(0)->data.size(), 20U);
}

TEST_F(RuntimeJobs, ASynchronousServiceMayNameAProcedure) {
    connect();
    RecordList<ServiceResult> results;
    runtime->executeServiceSync(results, L"UDS_CAN_D", inputsOf({L"Otx_ReadIdent", L"Otx_Fail"}));
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0]->error, 0);
    EXPECT_EQ(results[0]->responses.size(), 3U);
    EXPECT_NE(results[1]->error, 0);
}

TEST_F(RuntimeJobs, ASuppressedPositiveResponseIsASuccessWithoutOne) {
    connect();
    const auto result = hexService(L"UDS_CAN_D", {0x3E, 0x80});
    EXPECT_EQ(result->error, 0);
    EXPECT_TRUE(result->responses.empty());
}

TEST_F(RuntimeJobs, AControlUnitThatDoesNotAnswerIsAResultWithItsReason) {
    folder.replaceIn("vehicle.xml", "address=\"0x0011\" link=\"UDS_CAN_ENGINE\"",
                     "address=\"0x7011\" link=\"ELSEWHERE\"");
    connect();
    const auto result = hexService(L"UDS_CAN_ENGINE", {0x3E, 0x00});
    EXPECT_EQ(result->error, static_cast<std::int32_t>(ServiceError::Communication));
    EXPECT_NE(result->errorText.find(L"UDS_CAN_ENGINE"), std::wstring::npos);
    EXPECT_TRUE(result->responses.empty());
}

TEST_F(RuntimeJobs, ACancelledProcedureSaysSoInItsLastReport) {
    letSlowLast();
    useRealTime();
    connect();
    ServiceCollector reports;
    runtime->cancelJobs({start(L"Otx_Slow", reports)});
    ASSERT_TRUE(reports.waitForLast());
    ASSERT_EQ(reports.results().size(), 1U);
    EXPECT_EQ(reports.results()[0]->error, static_cast<std::int32_t>(ServiceError::Cancelled));
}

TEST_F(RuntimeJobs, AJobThatWaitsForAnotherOneCanBeCancelled) {
    letSlowTellThatItHasTheVehicle();
    useRealTime();
    connect();
    ServiceCollector first;
    ServiceCollector second;
    start(L"Otx_Slow", first);
    ASSERT_TRUE(first.waitForResults(1));
    const auto waiting = start(L"Otx_ReadIdent", second);
    EXPECT_FALSE(second.waitForLast(milliseconds(20)));
    runtime->cancelJobs({waiting});
    EXPECT_TRUE(second.waitForLast());
    EXPECT_EQ(first.reportCount(), 1U);
    runtime->selectProject(L"");
    EXPECT_TRUE(first.waitForLast());
}

TEST_F(RuntimeJobs, DeselectingTheProjectEndsItsJobs) {
    letSlowLast();
    useRealTime();
    connect();
    ServiceCollector reports;
    start(L"Otx_Slow", reports);
    EXPECT_FALSE(reports.waitForLast(milliseconds(20)));
    runtime->selectProject(L"");
    EXPECT_TRUE(reports.waitForLast());
}

TEST_F(RuntimeJobs, ASynchronousServiceThatWaitsForAJobEndsWhenTheVehicleIsClosed) {
    letSlowTellThatItHasTheVehicle();
    useRealTime();
    // A busy machine may begin the service only after the project is gone.
    const std::wstring isTooLate = L"no project is selected";
    std::wstring error = isTooLate;
    for (milliseconds wait(20); error.find(isTooLate) != std::wstring::npos; wait *= 2) {
        ASSERT_LT(wait, std::chrono::seconds(30));
        error = errorOfAServiceWhenTheVehicleIsClosed(wait);
    }
    EXPECT_NE(error.find(L"closed"), std::wstring::npos);
}

TEST_F(RuntimeJobs, ACallbackMayUseTheRuntime) {
    connect();
    CallingBack callback(*runtime);
    runtime->executeService(L"#OTX", inputsOf({L"Otx_ReadIdent"}), &callback);
    EXPECT_EQ(callback.last.get_future().wait_for(std::chrono::seconds(100)),
              std::future_status::ready);
    EXPECT_EQ(runtime->getSelectedProjectName(), L"");
    // The job may still be inside the last report: its end comes before that of the callback.
    runtime.reset();
}

TEST_F(RuntimeJobs, TheProgramsReporterSeesEveryResultOfAJobThatIsCancelledMeanwhile) {
    letSlowLast();
    useRealTime();
    connect();
    AsyncReporterCallback<ServiceResult, KelApi::ExecuteServiceCallback> reporter;
    reporter.expectJob();
    const auto job =
        runtime->executeService(L"#OTX", inputsOf({L"Otx_ReadIdent", L"Otx_Slow"}), &reporter);
    RecordList<ServiceResult> results;
    std::thread canceller([&] { runtime->cancelJobs({job}); });
    while (!reporter.done) {
        const auto more = reporter.takeResults();
        results.insert(results.end(), more.begin(), more.end());
        std::this_thread::yield();
    }
    canceller.join();
    const auto rest = reporter.takeResults();
    results.insert(results.end(), rest.begin(), rest.end());
    ASSERT_FALSE(results.empty());
    EXPECT_EQ(results.back()->error, static_cast<std::int32_t>(ServiceError::Cancelled));
}

TEST_F(RuntimeJobs, ManyJobsAtOnceAllSendTheirLastReport) {
    connect();
    std::vector<std::unique_ptr<ServiceCollector>> collectors;
    for (int i = 0; i < 20; ++i) {
        collectors.push_back(std::make_unique<ServiceCollector>());
        start(L"Otx_ReadIdent", *collectors.back());
    }
    for (const auto& reports : collectors) {
        ASSERT_TRUE(reports->waitForLast());
        EXPECT_EQ(reports->results().back()->error, 0);
    }
}

} // namespace Quarlen::Kel_cpp::Tests
