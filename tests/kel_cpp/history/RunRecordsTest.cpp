#include <gmock/gmock.h>

#include "tests/kel_cpp/history/RunLogTesting.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

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
