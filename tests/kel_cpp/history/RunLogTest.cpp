#include <gmock/gmock.h>

#include "tests/kel_cpp/history/RunLogTesting.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

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
    const RunEntry run = *log.find(1);
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
    status(L"Running execute action: A");
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
    status(L"Running execute action: A");
    onAnotherThread([&] { status(L"Idle"); });
    now += RunLog::quietTime;

    EXPECT_FALSE(log.settle());
    EXPECT_FALSE(log.find(1)->end);
    EXPECT_EQ(log.find(1)->statuses.size(), 3U);
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
    EXPECT_EQ(log.find(2)->statuses.size(), 1U);
}

TEST_F(ARunLog, GivesAStatusAfterTheEndToNoRun) {
    status(L"Running sequence: A");
    status(L"Idle");
    now += RunLog::quietTime;
    endBy(L"Running cancel sequence");

    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].outcome, RunOutcome::Clean);
    EXPECT_EQ(log.find(1)->statuses.size(), 2U);
}

TEST_F(ARunLog, GoesOnWithARunWhoseThreadSetsAStatusLate) {
    status(L"Running sequence: A");
    status(L"Idle");
    now += 2 * RunLog::quietTime;
    status(L"Exception caught: the unlock failed");

    EXPECT_EQ(ended.size(), 0U);
    EXPECT_EQ(endedRun().outcome, RunOutcome::Failed);
}

TEST_F(ARunLog, DoesNotEndARunThatIsInAnOperationOfTheRuntime) {
    status(L"Running sequence: A");
    status(L"Idle");
    {
        const RunLog::Call call(log);
        now += 2 * RunLog::quietTime;
        EXPECT_TRUE(log.settle());
        EXPECT_FALSE(log.find(1)->end);
    }
    now += RunLog::quietTime - 1ms;
    EXPECT_TRUE(log.settle());
    now += 1ms;
    EXPECT_FALSE(log.settle());

    EXPECT_EQ(log.find(1)->end, now - RunLog::quietTime);
}

TEST_F(ARunLog, DoesNotCareForTheOperationsOfOtherThreads) {
    status(L"Running sequence: A");
    status(L"Idle");
    now += RunLog::quietTime;
    onAnotherThread([&] {
        const RunLog::Call call(log);
        EXPECT_FALSE(log.settle());
    });

    EXPECT_TRUE(log.find(1)->end);
}

TEST_F(ARunLog, ForgetsAnOperationOfARunThatHasEnded) {
    status(L"Running sequence: A");
    {
        const RunLog::Call call(log);
        status(L"Running sequence: B");
        status(L"Idle");
        now += RunLog::quietTime;
    }

    EXPECT_FALSE(log.settle());
    EXPECT_TRUE(log.find(2)->end);
}

TEST_F(ARunLog, EndsARunAsFailedThatDoesNothingAtAll) {
    status(L"Running sequence: Missing.xml");
    const SystemTime begin = now;
    now += RunLog::silentTime - 1ms;
    EXPECT_TRUE(log.settle());
    EXPECT_FALSE(log.find(1)->end);
    now += 1ms;
    EXPECT_FALSE(log.settle());

    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].end, begin);
    EXPECT_EQ(ended[0].outcome, RunOutcome::Failed);
    EXPECT_THAT(log.find(1)->exceptions, ElementsAre(L"there is no such script"));
}

TEST_F(ARunLog, DoesNotEndARunThatHasDoneSomething) {
    const std::vector<std::function<void()>> doings{
        [&] { status(L"Running execute action: A"); },
        [&] { job(JobKind::Service, JobOutcome::Passed); },
        [&] { const RunLog::Call call(log); },
    };
    for (const auto& doing : doings) {
        status(L"Running sequence: A");
        doing();
        now += RunLog::silentTime;
        EXPECT_FALSE(log.settle());
        EXPECT_EQ(log.latest().back().outcome, RunOutcome::Running);
    }
}

TEST_F(ARunLog, LeavesAStatusOfAnotherThreadOutOfWhatARunHasDone) {
    status(L"Running sequence: A");
    onAnotherThread([&] { status(L"Shutting down"); });
    now += RunLog::silentTime;

    EXPECT_EQ(log.latest().back().outcome, RunOutcome::Failed);
}

TEST_F(ARunLog, KnowsAfterWhichTextsARunMayEnd) {
    EXPECT_TRUE(RunLog::mayEndAfter(L"Idle"));
    EXPECT_TRUE(RunLog::mayEndAfter(L"Running sequence: A"));
    EXPECT_FALSE(RunLog::mayEndAfter(L"Running execute action: A"));
    EXPECT_FALSE(RunLog::mayEndAfter(L"Idle again"));
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
    onAnotherThread([&] { status(L"Running sequence: A"); });
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

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
