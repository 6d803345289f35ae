#include <algorithm>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include "kel_server_lib/runtime/AsyncReporterCallback.hpp"
#include "tests/support/KelApiContract.hpp"
#include "tests/support/ReportCollector.hpp"

/// The part of the contract that is about services, jobs, unlock sessions and threads.
namespace Quarlen::Tests {

using namespace Kel_cpp;
using std::chrono::milliseconds;

milliseconds KelApiContract::cancelSlowProcedure() const {
    ServiceCollector reports;
    const auto job = api->executeService(L"#OTX", inputOf(GetParam().slowProcedure), &reports);
    if (reports.waitForLast(milliseconds(30))) {
        return milliseconds::max(); // the machine was busy until the procedure ended by itself
    }
    const auto before = std::chrono::steady_clock::now();
    api->cancelJobs({job});
    EXPECT_TRUE(reports.waitForLast());
    const auto taken = std::chrono::steady_clock::now() - before;
    return std::chrono::ceil<milliseconds>(taken);
}

TEST_P(KelApiContract, ARawServiceBringsTheResponseBytes) {
    connect();
    RecordList<ServiceResult> results{nullptr, nullptr};
    api->executeServiceSync(results, GetParam().logicalLink, testerPresent());
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]->error, 0);
    ASSERT_EQ(results[0]->responses.size(), 1U);
    EXPECT_EQ(results[0]->responses[0]->data, (std::vector<std::uint8_t>{0x7E, 0x00}));
}

TEST_P(KelApiContract, ANegativeResponseIsAnErrorThatKeepsTheBytes) {
    connect();
    RecordList<ServiceResult> results;
    // ISO 14229-1 leaves service 0xBE to nobody
    api->executeServiceSync(results, GetParam().logicalLink, inputOf(L"HexService", {0xBE}));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_NE(results[0]->error, 0);
    ASSERT_EQ(results[0]->responses.size(), 1U);
    EXPECT_EQ(results[0]->responses[0]->data.at(0), 0x7F);
}

TEST_P(KelApiContract, AServiceNeedsAConnectionAndAKnownLink) {
    RecordList<ServiceResult> results;
    EXPECT_THROW(api->executeServiceSync(results, GetParam().logicalLink, testerPresent()),
                 KelApiException);
    connect();
    EXPECT_THROW(api->executeServiceSync(results, L"no such link", testerPresent()),
                 KelApiException);
}

TEST_P(KelApiContract, AProcedureReportsUntilItsLastReport) {
    connect();
    ServiceCollector reports;
    EXPECT_NE(api->executeService(L"#OTX", inputOf(GetParam().procedure), &reports), 0U);
    ASSERT_TRUE(reports.waitForLast());
    ASSERT_FALSE(reports.results().empty());
    EXPECT_EQ(reports.results().back()->error, 0);
    EXPECT_EQ(reports.reportCountAfterLast(), 0U);
}

TEST_P(KelApiContract, AnUnknownProcedureOrTargetDoesNotLaunch) {
    connect();
    ServiceCollector reports;
    EXPECT_THROW(api->executeService(L"#OTX", inputOf(L"no such procedure"), &reports),
                 KelApiException);
    EXPECT_THROW(api->executeService(L"#NONE", inputOf(GetParam().procedure), &reports),
                 KelApiException);
    EXPECT_EQ(reports.reportCount(), 0U);
}

TEST_P(KelApiContract, JobsNeedAConnection) {
    selectVehicle();
    ServiceCollector services;
    QuickTestCollector quickTests;
    FlashCollector flashes;
    EXPECT_THROW(api->executeService(L"#OTX", inputOf(GetParam().procedure), &services),
                 KelApiException);
    EXPECT_THROW(api->performQuickTest(nullptr, nullptr, &quickTests), KelApiException);
    EXPECT_THROW(api->executeFlashSessions(GetParam().flashItem, {}, 0, &flashes), KelApiException);
}

/// A machine that is busy with something else may delay some tries.
TEST_P(KelApiContract, ACancelledJobEndsWithinFiftyMillisecondsWithItsLastReport) {
    constexpr milliseconds limit{50};
    connect();
    milliseconds fastest = milliseconds::max();
    for (int attempt = 0; attempt < 10 && fastest > limit; ++attempt) {
        fastest = std::min(fastest, cancelSlowProcedure());
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_LE(fastest, limit);
}

TEST_P(KelApiContract, CancellingAnUnknownJobIsHarmless) {
    EXPECT_NO_THROW(api->cancelJobs({0, 123456789}));
}

TEST_P(KelApiContract, JobIdentifiersAreNeverZeroAndNeverReused) {
    connect();
    std::set<KelApi::JobId> ids;
    for (int i = 0; i < 5; ++i) {
        QuickTestCollector reports;
        ids.insert(api->performQuickTest(std::make_shared<QuicktestConfig>(), nullptr, &reports));
        ASSERT_TRUE(reports.waitForLast());
    }
    EXPECT_EQ(ids.size(), 5U);
    EXPECT_EQ(ids.count(0), 0U);
}

TEST_P(KelApiContract, AQuickTestFillsTheProgramsReporterAndCanBeReported) {
    connect();
    AsyncReporterCallback<QuickTestResult, KelApi::PerformQuickTestCallback> reporter;
    reporter.expectJob();
    auto mask = std::make_shared<DtcReadConfig>();
    mask->statusMask = 0xFF;
    api->performQuickTest(std::make_shared<QuicktestConfig>(), mask, &reporter);
    while (!reporter.done) {
        std::this_thread::yield();
    }
    const auto results = reporter.takeResults();
    EXPECT_FALSE(results.empty());
    std::wstring file;
    api->createVehicleReport(file, L"Contract", mask, results,
                             std::make_shared<VehicleReportConfig>());
    EXPECT_NE(file, L"");
}

TEST_P(KelApiContract, AQuickTestOfNoControlUnitReportsNothingAndEnds) {
    connect();
    auto config = std::make_shared<QuicktestConfig>();
    config->everyControlUnit = false;
    QuickTestCollector reports;
    api->performQuickTest(config, nullptr, &reports);
    ASSERT_TRUE(reports.waitForLast());
    EXPECT_TRUE(reports.results().empty());
}

TEST_P(KelApiContract, RefusesQuickTestResultsThatItDidNotMake) {
    connect();
    std::wstring file;
    EXPECT_THROW(api->createVehicleReport(file, L"Foreign", nullptr,
                                          {std::make_shared<QuickTestResult>()},
                                          std::make_shared<VehicleReportConfig>()),
                 KelApiException);
}

TEST_P(KelApiContract, FlashingNoSessionEndsWithoutAnError) {
    connect();
    FlashCollector reports;
    EXPECT_NE(api->executeFlashSessions(GetParam().flashItem, {}, 0, &reports), 0U);
    ASSERT_TRUE(reports.waitForLast());
    for (const auto& result : reports.results()) {
        EXPECT_EQ(result->jobError, nullptr);
    }
}

TEST_P(KelApiContract, AnUnlockSessionHasAHandleAndCanBeReleasedTwice) {
    connect();
    const auto session = api->openUnlockSession(GetParam().unlock, {GetParam().unlockParameter});
    ASSERT_NE(session, nullptr);
    EXPECT_NE(session->handle, 0U);
    EXPECT_NO_THROW(api->releaseJob(session->handle));
    EXPECT_NO_THROW(api->releaseJob(session->handle));
}

TEST_P(KelApiContract, AnUnlockHandleIsHarmlessOnceTheVehicleIsClosed) {
    connect();
    const auto session = api->openUnlockSession(GetParam().unlock, {GetParam().unlockParameter});
    api->selectProject(L"");
    EXPECT_NO_THROW(api->releaseJob(session->handle));
}

TEST_P(KelApiContract, AnUnknownUnlockIsAnError) {
    connect();
    EXPECT_THROW(api->openUnlockSession(L"no such unlock", {L""}), KelApiException);
    EXPECT_THROW(api->openUnlockSession(GetParam().unlock, {L"no such parameter"}),
                 KelApiException);
}

TEST_P(KelApiContract, MayBeUsedByManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 20; ++round) {
                try {
                    connect();
                    RecordList<ServiceResult> results;
                    api->executeServiceSync(results, GetParam().logicalLink, testerPresent());
                } catch (const KelApiException&) {
                    // Another thread has selected or closed something meanwhile.
                }
                api->setServerStatus(L"round");
                api->selectProject(L"");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(connectionCount(), 0U);
}

TEST_P(KelApiContract, EndsItsJobsBeforeItGoes) {
    connect();
    ServiceCollector reports;
    api->executeService(L"#OTX", inputOf(GetParam().slowProcedure), &reports);
    api.reset();
    EXPECT_TRUE(reports.waitForLast(std::chrono::milliseconds(0)));
}

} // namespace Quarlen::Tests
