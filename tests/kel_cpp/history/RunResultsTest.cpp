#include "kel_cpp/history/RunResults.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/history/WatchedReports.hpp"
#include "kel_cpp/report/FlashRecords.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

JobEntry job(JobKind kind, JobOutcome outcome, std::vector<JobItem> items = {}) {
    JobEntry entry;
    entry.kind = kind;
    entry.name = L"J";
    entry.outcome = outcome;
    entry.items = std::move(items);
    return entry;
}

TEST(RunResults, AreTheProceduresServicesAndFlashItemsOfTheRun) {
    RunEntry run;
    run.jobs = {job(JobKind::Procedure, JobOutcome::Passed, {{L"verdict", true, L"fine"}}),
                job(JobKind::QuickTest, JobOutcome::Passed),
                job(JobKind::Service, JobOutcome::Running),
                job(JobKind::Flash, JobOutcome::Failed,
                    {{L"APP", true, L""}, {L"DATA", false, L"no response"}}),
                job(JobKind::Flash, JobOutcome::Cancelled)};

    const auto results = runResults(run);

    ASSERT_EQ(results.size(), 4U);
    EXPECT_EQ(results[0].kind, "Procedure");
    EXPECT_EQ(results[0].outcome, RunResult::Outcome::Passed);
    EXPECT_THAT(results[0].lines, ElementsAre(L"fine"));
    EXPECT_EQ(results[1].kind, "Service");
    EXPECT_EQ(results[1].outcome, RunResult::Outcome::Running);
    EXPECT_EQ(results[2].kind, "Flash");
    EXPECT_EQ(results[2].name, L"J");
    EXPECT_EQ(results[2].outcome, RunResult::Outcome::Failed);
    EXPECT_THAT(results[2].lines, ElementsAre(L"session \"APP\": done", L"no response"));
    EXPECT_EQ(results[3].outcome, RunResult::Outcome::Cancelled);
}

TEST(RunResults, AreNoneOfARunThatHasEnded) {
    RunEntry run;
    run.jobs = {job(JobKind::Procedure, JobOutcome::Passed)};
    run.outcome = RunOutcome::Clean;

    EXPECT_THAT(runResults(run), IsEmpty());
    EXPECT_THAT(runResults(std::nullopt), IsEmpty());
}

/// What a log keeps of a quick test with one control unit.
JobEntry watched(const std::shared_ptr<ControlUnitQuickTestResult>& unit) {
    auto log = std::make_shared<RunLog>();
    log->statusSet({L"Running sequence: A", {}, 1});
    JobWatch watch(log, 7, JobKind::QuickTest, L"V", 1);
    watch.take(RecordList<QuickTestResult>{unit});
    watch.end();
    return log->find(1)->jobs.at(0);
}

TEST(JobWatch, DoesNotCountFaultsThatWereNotAskedFor) {
    auto unit = std::make_shared<ControlUnitQuickTestResult>();
    unit->faultsAskedFor = false;
    const JobEntry entry = watched(unit);

    EXPECT_EQ(entry.summary, L"1 of 1 control units read, faults not asked for");
    EXPECT_EQ(entry.items.at(0).text, L"faults not asked for");
}

TEST(JobWatch, TellsOfAnInterruptedProgramming) {
    auto unit = std::make_shared<ControlUnitQuickTestResult>();
    unit->identification = {
        {0xF195, L"Software", L"not valid", IdentificationValue::State::Interrupted}};

    EXPECT_EQ(watched(unit).items.at(0).text, L"software not valid, 0 faults");
    EXPECT_FALSE(watched(unit).items.at(0).passed);
}

/// What a log keeps of a flash with these reports.
JobEntry watched(const RecordList<FlashResult>& results) {
    auto log = std::make_shared<RunLog>();
    log->statusSet({L"Running sequence: A", {}, 1});
    JobWatch watch(log, 7, JobKind::Flash, L"F", 1);
    watch.take(results);
    watch.end();
    return log->find(1)->jobs.at(0);
}

TEST(JobWatch, KeepsASessionOnceThoughTheLastReportRepeatsItsEnd) {
    auto half = std::make_shared<FlashResult>();
    half->sessionName = L"APP";
    half->progress = 50;
    auto whole = std::make_shared<FlashResult>(*half);
    whole->progress = 100;
    const JobEntry entry = watched(RecordList<FlashResult>{half, whole, whole});

    ASSERT_EQ(entry.items.size(), 1U);
    EXPECT_EQ(entry.items[0].name, L"APP");
    EXPECT_TRUE(entry.items[0].passed);
    EXPECT_EQ(entry.outcome, JobOutcome::Passed);
}

TEST(JobWatch, TellsACancelledFlashFromAFailedOne) {
    auto result = std::make_shared<ControlUnitFlashResult>();
    result->jobError = std::make_shared<FlashJobError>();
    EXPECT_EQ(watched(RecordList<FlashResult>{result}).outcome, JobOutcome::Failed);

    result->cancelled = true;
    EXPECT_EQ(watched(RecordList<FlashResult>{result}).outcome, JobOutcome::Cancelled);
}

TEST(JobWatch, TellsTheCauseBehindAFailedFlash) {
    auto result = std::make_shared<FlashResult>();
    result->jobError = std::make_shared<FlashJobError>();
    result->jobError->message = L"the block was not sent";
    result->jobError->vciServerError = std::make_shared<VciServerError>();
    result->jobError->vciServerError->message = L"cable is off";

    EXPECT_EQ(watched(RecordList<FlashResult>{result}).summary,
              L"the block was not sent: cable is off");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
