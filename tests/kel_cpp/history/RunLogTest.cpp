#include "kel_cpp/history/RunLog.hpp"

#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class ARunLog : public testing::Test {
protected:
    void SetUp() override {
        log.onEnd([this](const RunEntry& run) { ended.push_back(run); });
    }

    void status(const std::wstring& text) { log.statusSet({text, now, ++number}); }
    void statusOnAnotherThread(const std::wstring& text) {
        std::thread([&] { status(text); }).join();
    }
    void job(JobKind kind, JobOutcome outcome) {
        log.jobBegins(7, kind, L"Job");
        log.jobEnds(7, outcome, L"summary");
    }
    /// A run from its begin to its end, as of a button.
    RunEntry endedRun() {
        status(L"Idle");
        now += RunLog::quietTime;
        log.settle();
        return log.latest().back();
    }

    SystemTime now{1000s};
    std::uint64_t number = 0;
    std::vector<RunEntry> ended;
    RunLog log{[this] { return now; }};
};

TEST_F(ARunLog, IsEmptyAtFirst) {
    EXPECT_THAT(log.latest(), IsEmpty());
    EXPECT_FALSE(log.find(1));
    EXPECT_FALSE(log.settle());
}

TEST_F(ARunLog, BeginsARunWithItsStatus) {
    status(L"Running start sequence: Demo.xml");
    EXPECT_THAT(log.latest(), IsEmpty());

    status(L"Running sequence: Demo.xml");

    ASSERT_EQ(log.latest().size(), 1U);
    const RunEntry run = log.latest()[0];
    EXPECT_EQ(run.id, 1U);
    EXPECT_EQ(run.name, L"Demo.xml");
    EXPECT_EQ(run.client, L"");
    EXPECT_EQ(run.begin, now);
    EXPECT_FALSE(run.end);
    EXPECT_EQ(run.outcome, RunOutcome::Running);
    ASSERT_EQ(run.statuses.size(), 1U);
    EXPECT_EQ(run.statuses[0].number, 2U);
}

TEST_F(ARunLog, EndsARunThatIsIdleForTheQuietTime) {
    status(L"Running sequence: Demo.xml");
    EXPECT_FALSE(log.settle());
    now += 5s;
    status(L"Idle");
    const SystemTime idle = now;

    now += RunLog::quietTime - 1ms;
    EXPECT_TRUE(log.settle());
    EXPECT_THAT(ended, IsEmpty());
    now += 1ms;
    EXPECT_FALSE(log.settle());

    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].end, idle);
    EXPECT_EQ(ended[0].outcome, RunOutcome::Clean);
    EXPECT_EQ(log.find(1)->end, idle);
}

TEST_F(ARunLog, EndsAQuietRunAlsoWhenItIsRead) {
    status(L"Running sequence: Demo.xml");
    status(L"Idle");
    now += RunLog::quietTime;

    EXPECT_TRUE(log.find(1)->end);
    EXPECT_EQ(ended.size(), 1U);
}

TEST_F(ARunLog, GoesOnWithARunThatWasIdleBetweenTwoActions) {
    status(L"Running sequence: Demo.xml");
    status(L"Idle");
    now += RunLog::quietTime - 1ms;
    status(L"Running quicktest action");
    now += RunLog::quietTime;

    EXPECT_FALSE(log.settle());
    EXPECT_FALSE(log.find(1)->end);
}

TEST_F(ARunLog, DoesNotEndARunWhileItsJobRuns) {
    status(L"Running sequence: Demo.xml");
    log.jobBegins(7, JobKind::Procedure, L"Otx_A");
    status(L"Idle");
    now += 2 * RunLog::quietTime;
    EXPECT_TRUE(log.settle());
    EXPECT_FALSE(log.find(1)->end);

    log.jobEnds(7, JobOutcome::Passed, {});
    EXPECT_TRUE(log.settle());
    now += RunLog::quietTime;
    log.settle();

    EXPECT_TRUE(log.find(1)->end);
}

TEST_F(ARunLog, IsNotEndedByTheIdleOfAnotherThread) {
    status(L"Running sequence: Demo.xml");
    statusOnAnotherThread(L"Idle");
    now += RunLog::quietTime;

    EXPECT_FALSE(log.settle());
    EXPECT_FALSE(log.find(1)->end);
    EXPECT_EQ(log.find(1)->statuses.size(), 2U);
}

TEST_F(ARunLog, EndsARunWhenTheNextBegins) {
    status(L"Running sequence: A");
    now += 3s;
    status(L"Running sequence: B");

    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].name, L"A");
    EXPECT_EQ(ended[0].end, now);
    EXPECT_EQ(log.latest().size(), 2U);
    EXPECT_EQ(log.latest()[1].id, 2U);
    EXPECT_EQ(log.latest()[1].statuses.size(), 1U);
}

TEST_F(ARunLog, GivesAStatusAfterTheEndToNoRun) {
    status(L"Running sequence: A");
    status(L"Idle");
    now += RunLog::quietTime;
    status(L"Running cancel sequence");

    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].outcome, RunOutcome::Clean);
    EXPECT_EQ(log.find(1)->statuses.size(), 2U);
}

TEST_F(ARunLog, EndsTheRunOfAClientWhenTheClientsRequestEnds) {
    std::optional<RunLog::ClientRun> request(std::in_place, log, L"line-1");
    status(L"Running sequence: A");
    EXPECT_EQ(log.latest()[0].client, L"line-1");
    status(L"Idle");
    now += 2 * RunLog::quietTime;
    EXPECT_FALSE(log.settle());
    EXPECT_FALSE(log.find(1)->end);

    request.reset();

    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].end, now);
    EXPECT_EQ(ended[0].outcome, RunOutcome::Clean);
    EXPECT_EQ(ended[0].client, L"line-1");
}

TEST_F(ARunLog, GivesARunOfAnotherThreadToNoClient) {
    std::optional<RunLog::ClientRun> request(std::in_place, log, L"line-1");
    statusOnAnotherThread(L"Running sequence: A");
    EXPECT_EQ(log.latest()[0].client, L"");

    request.reset();

    EXPECT_FALSE(log.find(1)->end);
}

TEST_F(ARunLog, ForgetsTheClientAfterItsRequest) {
    { const RunLog::ClientRun request(log, L"line-1"); }
    status(L"Running sequence: A");

    EXPECT_EQ(log.find(1)->client, L"");
}

TEST_F(ARunLog, TellsThatAClientWaitsUntilItsRunBegins) {
    status(L"Running sequence: Of a button");
    EXPECT_FALSE(log.isClientWaiting());
    std::thread([&] {
        const RunLog::ClientRun request(log, L"line-1");
        EXPECT_TRUE(log.isClientWaiting());
        status(L"Running sequence: A");
        EXPECT_FALSE(log.isClientWaiting());
    }).join();
}

TEST_F(ARunLog, TellsTheTimeOfTheLastCancel) {
    status(L"Running abort sequence");
    EXPECT_FALSE(log.lastCancel());
    status(L"Running cancel sequence");
    now += 1s;
    status(L"Running cancel sequence");
    now += 1s;
    status(L"Idle");

    EXPECT_EQ(log.lastCancel(), now - 1s);
}

TEST_F(ARunLog, CallsARunOfAClientFailedWhoseScriptIsMissing) {
    {
        const RunLog::ClientRun request(log, L"line-1");
        status(L"Running sequence: Missing.xml");
    }

    EXPECT_EQ(log.find(1)->outcome, RunOutcome::Failed);
    EXPECT_THAT(log.find(1)->exceptions, ElementsAre(L"there is no such script"));
}

TEST_F(ARunLog, CallsARunOfAClientFailedWhoseRequestFailed) {
    {
        RunLog::ClientRun request(log, L"line-1");
        status(L"Running sequence: A");
        request.fail(L"the project is gone");
    }

    EXPECT_EQ(log.find(1)->outcome, RunOutcome::Failed);
    EXPECT_THAT(log.find(1)->exceptions, ElementsAre(L"the project is gone"));
}

TEST_F(ARunLog, CallsARunFailedThatAnExceptionReached) {
    status(L"Running sequence: A");
    status(L"Exception caught: no vehicle");

    const RunEntry run = endedRun();

    EXPECT_EQ(run.outcome, RunOutcome::Failed);
    EXPECT_THAT(run.exceptions, ElementsAre(L"no vehicle"));
}

TEST_F(ARunLog, CallsAFailedProcedureServiceOrFlashAFinding) {
    for (const JobKind kind : {JobKind::Procedure, JobKind::Service, JobKind::Flash}) {
        status(L"Running sequence: A");
        job(kind, JobOutcome::Failed);
        EXPECT_EQ(endedRun().outcome, RunOutcome::Findings);
    }
}

TEST_F(ARunLog, CallsARunCleanWhateverItsQuickTestFound) {
    status(L"Running sequence: A");
    job(JobKind::QuickTest, JobOutcome::Failed);

    EXPECT_EQ(endedRun().outcome, RunOutcome::Clean);
}

TEST_F(ARunLog, CallsARunCancelledThatACancelAnAbortOrItsJobEnded) {
    for (const wchar_t* const end : {L"Running cancel sequence", L"Running abort sequence"}) {
        status(L"Running sequence: A");
        job(JobKind::Flash, JobOutcome::Failed);
        statusOnAnotherThread(end);
        status(L"Exception caught: cancelled");
        EXPECT_EQ(endedRun().outcome, RunOutcome::Cancelled);
    }
    status(L"Running sequence: A");
    job(JobKind::Procedure, JobOutcome::Cancelled);
    EXPECT_EQ(endedRun().outcome, RunOutcome::Cancelled);
    status(L"Running sequence: A");
    EXPECT_EQ(endedRun().outcome, RunOutcome::Clean);
}

TEST_F(ARunLog, KeepsWhatBecameOfAJob) {
    status(L"Running sequence: A");
    log.jobBegins(7, JobKind::Procedure, L"Otx_A");
    EXPECT_EQ(log.find(1)->jobs[0].outcome, JobOutcome::Running);
    log.jobFound(7, {L"verdict", true, L"fine"});
    now += 2s;
    log.jobEnds(7, JobOutcome::Passed, L"all fine");

    const JobEntry entry = log.find(1)->jobs[0];
    EXPECT_EQ(entry.name, L"Otx_A");
    EXPECT_EQ(entry.begin, now - 2s);
    EXPECT_EQ(entry.end, now);
    EXPECT_EQ(entry.outcome, JobOutcome::Passed);
    EXPECT_EQ(entry.summary, L"all fine");
    ASSERT_EQ(entry.items.size(), 1U);
    EXPECT_EQ(entry.items[0].text, L"fine");
}

TEST_F(ARunLog, KeepsWhatBecameOfAJobThatOutlivedItsRun) {
    status(L"Running sequence: A");
    log.jobBegins(7, JobKind::Procedure, L"Otx_A");
    status(L"Running sequence: B");

    log.jobEnds(7, JobOutcome::Failed, {});

    EXPECT_EQ(log.find(1)->jobs[0].outcome, JobOutcome::Failed);
    EXPECT_THAT(log.find(2)->jobs, IsEmpty());
}

TEST_F(ARunLog, TellsHowFarJobsAreWhileTheyRun) {
    std::vector<std::uint64_t> heard;
    log.onProgress([&](const JobProgress& progress) { heard.push_back(progress.done); });
    log.jobBegins(7, JobKind::Flash, L"Item");
    ASSERT_EQ(log.progress().size(), 1U);
    EXPECT_EQ(log.progress()[0].total, 0U);

    log.jobProgressed({7, JobKind::Flash, L"ENGINE", L"bytes", 5, 10});
    EXPECT_EQ(log.progress()[0].done, 5U);
    log.jobEnds(7, JobOutcome::Passed, {});

    EXPECT_THAT(log.progress(), IsEmpty());
    EXPECT_THAT(heard, ElementsAre(5U));
}

TEST_F(ARunLog, KeepsTheReportsOfARun) {
    log.reportWritten(L"of no run.html");
    status(L"Running sequence: A");
    log.reportWritten(L"a.html");
    log.reportWritten(L"b.html");

    EXPECT_THAT(log.find(1)->reports, ElementsAre(L"a.html", L"b.html"));
}

TEST_F(ARunLog, KeepsTheLatest100Runs) {
    for (int run = 1; run <= 101; ++run) {
        status(L"Running sequence: " + std::to_wstring(run));
    }

    ASSERT_EQ(log.latest().size(), 100U);
    EXPECT_EQ(log.latest().front().name, L"2");
    EXPECT_FALSE(log.find(1));
    EXPECT_TRUE(log.find(101));
}

TEST_F(ARunLog, KeepsTheFirst1000StatusTextsOfARunAndCountsTheOthers) {
    status(L"Running sequence: A");
    for (int text = 0; text < 1001; ++text) {
        status(L"x");
    }
    status(L"Exception caught: late");

    const RunEntry run = *log.find(1);
    EXPECT_EQ(run.statuses.size(), 1000U);
    EXPECT_EQ(run.statusesLeftOut, 3U);
    EXPECT_THAT(run.exceptions, ElementsAre(L"late"));
}

TEST_F(ARunLog, KeepsTheFirst1000JobsAndReportsOfARun) {
    status(L"Running sequence: A");
    for (std::uint64_t id = 1; id <= 1001; ++id) {
        log.jobBegins(id, JobKind::Service, L"S");
        log.jobFound(1, {L"step", true, L""});
        log.jobEnds(id, JobOutcome::Passed, {});
        log.reportWritten(L"r");
    }

    EXPECT_EQ(log.find(1)->jobs.size(), 1000U);
    EXPECT_EQ(log.find(1)->jobs[0].items.size(), 1000U);
    EXPECT_EQ(log.find(1)->reports.size(), 1000U);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
