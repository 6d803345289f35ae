#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/kel_cpp/history/RunLogTesting.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

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

TEST_F(ARunLog, JudgesAlsoTheJobsThatARunHasNoRoomFor) {
    for (const auto& [outcome, expected] :
         {std::pair(JobOutcome::Passed, RunOutcome::Clean),
          std::pair(JobOutcome::Failed, RunOutcome::Findings),
          std::pair(JobOutcome::Cancelled, RunOutcome::Cancelled)}) {
        beginFullRun();
        job(JobKind::Procedure, outcome);
        job(JobKind::Procedure, JobOutcome::Passed);
        const RunEntry run = endedRun();
        EXPECT_EQ(run.outcome, expected);
        EXPECT_EQ(run.jobs.size(), RunLog::maxEntriesOfRun);
    }
}

TEST_F(ARunLog, DoesNotEndARunWhileAJobRunsThatItHasNoRoomFor) {
    beginFullRun();
    log.jobBegins(7, JobKind::Procedure, L"Otx_A");
    EXPECT_FALSE(endedRun().end);
    log.jobEnds(7, JobOutcome::Passed, {});
    EXPECT_TRUE(endedRun().end);
}

TEST_F(ARunLog, JudgesARunByNoJobOfTheRunBefore) {
    status(L"Running sequence: A");
    log.jobBegins(7, JobKind::Procedure, L"Otx_A");
    status(L"Running sequence: B");
    log.jobEnds(7, JobOutcome::Failed, L"too late");

    EXPECT_EQ(endedRun().outcome, RunOutcome::Clean);
    EXPECT_EQ(log.find(1)->outcome, RunOutcome::Clean);
    EXPECT_EQ(log.find(1)->jobs.at(0).outcome, JobOutcome::Failed);
}

TEST_F(ARunLog, TellsOfEachJobOfARunThatHasEnded) {
    std::vector<JobEntry> heard;
    log.onJobEnd([&](const JobEntry& entry) { heard.push_back(entry); });
    job(JobKind::Flash, JobOutcome::Passed);
    EXPECT_THAT(heard, testing::IsEmpty());
    beginFullRun();
    heard.clear();
    log.jobBegins(7, JobKind::QuickTest, L"VIT_A");
    log.jobFound(7, {L"ENGINE", true, L"2 faults"});
    EXPECT_THAT(heard, testing::IsEmpty());
    now += 5s;
    log.jobEnds(7, JobOutcome::Failed, L"summary");
    log.jobEnds(7, JobOutcome::Passed, L"again");

    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0].id, 7U);
    EXPECT_EQ(heard[0].kind, JobKind::QuickTest);
    EXPECT_EQ(heard[0].name, L"VIT_A");
    EXPECT_EQ(heard[0].begin, now - 5s);
    EXPECT_EQ(heard[0].end, now);
    EXPECT_EQ(heard[0].outcome, JobOutcome::Failed);
    EXPECT_EQ(heard[0].summary, L"summary");
    EXPECT_EQ(heard[0].items.at(0).name, L"ENGINE");
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
        endBy(end);
        status(L"Exception caught: cancelled");
        EXPECT_EQ(endedRun().outcome, RunOutcome::Cancelled);
    }
    status(L"Running sequence: A");
    job(JobKind::Procedure, JobOutcome::Cancelled);
    EXPECT_EQ(endedRun().outcome, RunOutcome::Cancelled);
    status(L"Running sequence: A");
    EXPECT_EQ(endedRun().outcome, RunOutcome::Clean);
}

TEST_F(ARunLog, CallsARunCancelledThatNoticesTheCancelBeforeTheCancellerGoesOn) {
    status(L"Running sequence: A");
    onAnotherThread([&] { status(L"Running cancel sequence"); });
    log.projectDeselected();

    EXPECT_EQ(endedRun().outcome, RunOutcome::Cancelled);
}

TEST_F(ARunLog, DoesNotCallARunCancelledThatACancelWithoutConnectionsLeavesAlone) {
    status(L"Running sequence: A");
    onAnotherThread([&] {
        status(L"Running cancel sequence");
        status(L"Idle");
    });
    status(L"Running select action");
    // The script deselects the project itself.
    log.projectDeselected();

    EXPECT_EQ(endedRun().outcome, RunOutcome::Clean);
    EXPECT_FALSE(log.lastCancel());
}

TEST_F(ARunLog, DoesNotCallARunCancelledThatWasOverWhenTheCancelCame) {
    status(L"Running sequence: A");
    status(L"Idle");
    endBy(L"Running cancel sequence");
    now += RunLog::quietTime;

    EXPECT_EQ(log.find(1)->outcome, RunOutcome::Clean);
    EXPECT_TRUE(log.lastCancel());
}

TEST_F(ARunLog, DoesNotCallTheNextRunCancelled) {
    status(L"Running sequence: A");
    endBy(L"Running cancel sequence");
    status(L"Running sequence: B");

    EXPECT_EQ(endedRun().outcome, RunOutcome::Clean);
}

TEST_F(ARunLog, TellsTheTimeOfTheLastCancel) {
    endBy(L"Running abort sequence");
    EXPECT_FALSE(log.lastCancel());
    endBy(L"Running cancel sequence");
    now += 1s;
    endBy(L"Running cancel sequence");
    now += 1s;
    endBy(L"Running abort sequence");
    log.projectDeselected();

    EXPECT_EQ(log.lastCancel(), now - 1s);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
