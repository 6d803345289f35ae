#include "kel_cpp/jobs/JobRunner.hpp"

#include <future>
#include <memory>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// Blocks until the token is raised.
void waitForCancel(const std::stop_token& cancel) {
    std::promise<void> cancelled;
    const std::stop_callback onCancel(cancel, [&] { cancelled.set_value(); });
    cancelled.get_future().wait();
}

class RefusingCallback : public KelApi::ExecuteServiceCallback {
public:
    void report(RecordList<ServiceResult> /*results*/, std::uint64_t /*id*/,
                std::shared_ptr<Record> /*context*/, bool /*done*/) override {
        throw std::system_error(std::make_error_code(std::errc::io_error), "callback");
    }
};

JobRunner::Work untilCancelled(std::atomic<int>& ended) {
    return [&ended](JobRunner::JobId, const std::stop_token& cancel) {
        waitForCancel(cancel);
        ++ended;
    };
}

} // namespace

TEST(JobRunner, GivesEachJobItsOwnIdentifier) {
    std::promise<JobRunner::JobId> seen;
    JobRunner runner;
    const auto first = runner.start([&](auto id, const auto&) { seen.set_value(id); }, {});
    const auto second = runner.start([](auto, const auto&) {}, {});
    EXPECT_EQ(seen.get_future().get(), first);
    EXPECT_NE(first, 0U);
    EXPECT_GT(second, first);
}

TEST(JobRunner, CancelsOnlyTheJobThatIsMeant) {
    std::promise<bool> otherCancelled;
    std::promise<void> firstEnded;
    JobRunner runner;
    const auto first = runner.start(
        [&](auto, const std::stop_token& cancel) {
            waitForCancel(cancel);
            firstEnded.set_value();
        },
        {});
    runner.start(
        [&, ended = firstEnded.get_future().share()](auto, const std::stop_token& cancel) {
            ended.wait();
            otherCancelled.set_value(cancel.stop_requested());
        },
        {});
    runner.cancel({first});
    EXPECT_FALSE(otherCancelled.get_future().get());
}

TEST(JobRunner, AJobIsAlsoCancelledByTheTokenOfItsStart) {
    std::stop_source closing;
    std::promise<void> done;
    JobRunner runner;
    runner.start(
        [&](auto, const std::stop_token& cancel) {
            waitForCancel(cancel);
            done.set_value();
        },
        closing.get_token());
    closing.request_stop();
    done.get_future().wait();
}

TEST(JobRunner, RefusesMoreJobsThanItsLimit) {
    std::atomic<int> ended{0};
    {
        JobRunner runner;
        for (std::size_t i = 0; i < JobRunner::maxJobs; ++i) {
            runner.start(untilCancelled(ended), {});
        }
        try {
            runner.start(untilCancelled(ended), {});
            FAIL() << "was started";
        } catch (const KelApiException& exception) {
            EXPECT_EQ(exception.code(), static_cast<std::int32_t>(ErrorCode::TooManyJobs));
        }
        EXPECT_EQ(runner.running(), JobRunner::maxJobs);
    }
    EXPECT_EQ(ended, static_cast<int>(JobRunner::maxJobs));
}

TEST(JobRunner, EndedJobsMakeRoomForNewOnes) {
    JobRunner runner;
    std::atomic<std::size_t> ran{0};
    for (std::size_t i = 0; i < 3 * JobRunner::maxJobs; ++i) {
        std::promise<void> done;
        runner.start([&](auto, const auto&) { ++ran; }, {});
        while (runner.running() > 0) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(ran, 3 * JobRunner::maxJobs);
}

TEST(JobRunner, AnExceptionEndsOnlyItsJob) {
    const Quarlen::Tests::TraceCapture traces;
    std::promise<void> ran;
    {
        JobRunner runner;
        runner.start(
            [](auto, const auto&) {
                throw std::system_error(std::make_error_code(std::errc::io_error), "broken");
            },
            {});
        runner.start([&](auto, const auto&) { ran.set_value(); }, {});
        ran.get_future().wait();
    }
    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(traces.texts()[0], testing::AllOf(testing::StartsWith(L"job failed: broken: "),
                                                  Quarlen::Tests::EndsWithANumber()));
}

TEST(JobRunner, AJobMayBeTheOneThatEndsTheRunner) {
    auto runner = std::make_unique<JobRunner>();
    std::promise<void> go;
    // Nobody waits for the thread of this job, which may still be inside the promise.
    const auto ended = std::make_shared<std::promise<void>>();
    runner->start(
        [&runner, ended, started = go.get_future().share()](auto, const auto&) {
            started.wait();
            runner.reset();
            ended->set_value();
        },
        {});
    go.set_value();
    ended->get_future().wait();
    EXPECT_EQ(runner, nullptr);
}

TEST(JobReport, SendsTheLastReportAtItsEndAtTheLatest) {
    Quarlen::Tests::ServiceCollector reports;
    { const JobReport<ServiceResult> report(reports, 7); }
    EXPECT_TRUE(reports.waitForLast(std::chrono::milliseconds(0)));
    EXPECT_EQ(reports.value(), 7U);
    EXPECT_EQ(reports.reportCount(), 1U);
}

TEST(JobReport, TracesWhyItsLastReportWasNotTaken) {
    const Quarlen::Tests::TraceCapture traces;
    RefusingCallback refusing;
    { const JobReport<ServiceResult> report(refusing, 7); }
    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(
        traces.texts()[0],
        testing::AllOf(testing::StartsWith(L"a job's last report was not taken: callback: "),
                       Quarlen::Tests::EndsWithANumber()));
}

TEST(JobReport, SendsNothingAfterTheLastReport) {
    Quarlen::Tests::ServiceCollector reports;
    JobReport<ServiceResult> report(reports, 7);
    report.finish({std::make_shared<ServiceResult>()});
    report.add(std::make_shared<ServiceResult>());
    report.finish({std::make_shared<ServiceResult>()});
    EXPECT_EQ(reports.reportCount(), 1U);
    EXPECT_EQ(reports.results().size(), 1U);
}

} // namespace Quarlen::Kel_cpp::Tests
