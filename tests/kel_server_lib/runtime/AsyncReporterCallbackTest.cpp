#include "kel_server_lib/runtime/AsyncReporterCallback.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class AsyncReporterCallbackTest : public testing::Test {
protected:
    using Result = Kel_cpp::ServiceResult;
    using Results = Kel_cpp::RecordList<Result>;

    static std::shared_ptr<Result> result(std::int32_t number) {
        auto made = std::make_shared<Result>();
        made->error = number;
        return made;
    }

    static std::vector<std::int32_t> numbersOf(const Results& results) {
        std::vector<std::int32_t> numbers;
        for (const auto& each : results) {
            numbers.push_back(each->error);
        }
        return numbers;
    }

    void report(Results results, bool done) {
        reporter.report(std::move(results), 9, nullptr, done);
    }

    Kel_cpp::AsyncReporterCallback<Result, Kel_cpp::KelApi::ExecuteServiceCallback> reporter;
};

TEST_F(AsyncReporterCallbackTest, StartsWithoutAJob) {
    EXPECT_TRUE(reporter.isDone());
    EXPECT_THAT(reporter.takeResults(), IsEmpty());
}

TEST_F(AsyncReporterCallbackTest, TheLastReportWithoutResultsEndsTheJobAndAddsNone) {
    reporter.expectJob();
    EXPECT_FALSE(reporter.isDone());

    report({}, true);

    EXPECT_TRUE(reporter.isDone());
    EXPECT_TRUE(reporter.done);
    EXPECT_THAT(reporter.takeResults(), IsEmpty());
}

TEST_F(AsyncReporterCallbackTest, TwoReportsAreTakenTogetherInArrivalOrder) {
    reporter.expectJob();
    report({result(1), result(2)}, false);
    report({result(3)}, false);

    EXPECT_THAT(numbersOf(reporter.takeResults()), ElementsAre(1, 2, 3));
    EXPECT_THAT(reporter.takeResults(), IsEmpty());
    EXPECT_FALSE(reporter.isDone());
}

TEST_F(AsyncReporterCallbackTest, TakesTheArgumentForDoneAlsoWhenItIsFalse) {
    report({}, false);
    EXPECT_FALSE(reporter.isDone());

    report({}, true);
    report({result(1)}, false);

    EXPECT_FALSE(reporter.isDone());
    EXPECT_FALSE(reporter.done);
}

TEST_F(AsyncReporterCallbackTest, IgnoresTheContextAndReleasesItOnReturn) {
    const auto context = std::make_shared<Kel_cpp::Record>();

    reporter.report({result(1)}, 9, context, false);

    EXPECT_EQ(context.use_count(), 1);
}

TEST_F(AsyncReporterCallbackTest, KeepsNoResultOnceItIsTaken) {
    const auto reported = result(1);
    report({reported}, true);
    EXPECT_EQ(reported.use_count(), 2);

    EXPECT_EQ(reporter.takeResults().size(), 1U);

    EXPECT_EQ(reported.use_count(), 1);
}

TEST_F(AsyncReporterCallbackTest, AResultThatIsReportedTwiceIsTakenTwice) {
    const auto reported = result(4);
    report({reported, reported}, false);
    report({reported}, true);

    EXPECT_THAT(numbersOf(reporter.takeResults()), ElementsAre(4, 4, 4));
}

TEST_F(AsyncReporterCallbackTest, TakingResultsLeavesTheJobOutstandingOrDoneAsItIs) {
    report({result(1)}, true);
    EXPECT_EQ(reporter.takeResults().size(), 1U);
    EXPECT_TRUE(reporter.isDone());

    reporter.expectJob();
    EXPECT_THAT(reporter.takeResults(), IsEmpty());
    EXPECT_FALSE(reporter.isDone());
}

TEST_F(AsyncReporterCallbackTest, ALaunchThatFailedKeepsWhatWasReported) {
    reporter.expectJob();
    report({result(1)}, false);

    reporter.expectNoJob();

    EXPECT_THAT(numbersOf(reporter.takeResults()), ElementsAre(1));
}

TEST_F(AsyncReporterCallbackTest, WhoSeesTheEndSeesTheLastResults) {
    std::deque<decltype(reporter)> reporters(20'000);
    for (auto& each : reporters) {
        each.expectJob();
    }
    std::jthread runtime([&] {
        for (auto& each : reporters) {
            each.report({result(1)}, 0, nullptr, true);
        }
    });
    std::size_t complete = 0;
    for (auto& each : reporters) {
        while (!each.done) {
            std::this_thread::yield();
        }
        complete += each.takeResults().size();
    }

    EXPECT_EQ(complete, reporters.size());
}

TEST_F(AsyncReporterCallbackTest, ANewJobForgetsTheResultsOfTheLastAndReleasesThem) {
    const auto old = result(1);
    report({old}, true);

    reporter.expectJob();

    EXPECT_EQ(old.use_count(), 1);
    EXPECT_THAT(reporter.takeResults(), IsEmpty());
}

TEST_F(AsyncReporterCallbackTest, ALaunchThatFailedLeavesNoJob) {
    reporter.expectJob();

    reporter.expectNoJob();

    EXPECT_TRUE(reporter.isDone());
}

TEST_F(AsyncReporterCallbackTest, ReleasesWhatNobodyTookWhenItIsDestroyed) {
    const auto kept = result(1);
    {
        Kel_cpp::AsyncReporterCallback<Result, Kel_cpp::KelApi::ExecuteServiceCallback> shortLived;
        shortLived.report({kept}, 0, nullptr, false);
    }

    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(AsyncReporterCallbackTest, AReaderThatPollsMissesNothing) {
    constexpr std::int32_t last = 5000;
    reporter.expectJob();
    std::jthread runtime([this] {
        for (std::int32_t number = 1; number <= last; ++number) {
            report({result(number)}, number == last);
        }
    });
    std::vector<std::int32_t> taken;
    bool done = false;
    while (!done) {
        done = reporter.isDone();
        for (const std::int32_t number : numbersOf(reporter.takeResults())) {
            taken.push_back(number);
        }
    }

    ASSERT_EQ(taken.size(), static_cast<std::size_t>(last));
    EXPECT_TRUE(std::is_sorted(taken.begin(), taken.end()));
}

/// A mutex that counts the locks of all its kind.
class CountingMutex {
public:
    void lock() {
        mutex.lock();
        ++locks;
    }
    void unlock() { mutex.unlock(); }

    static inline std::atomic<int> locks{0};

private:
    std::mutex mutex;
};

class AsyncReporterCallbackLocks : public AsyncReporterCallbackTest {
protected:
    AsyncReporterCallbackLocks() { CountingMutex::locks = 0; }

    Kel_cpp::AsyncReporterCallback<Result, Kel_cpp::KelApi::ExecuteServiceCallback, CountingMutex>
        counting;
};

TEST_F(AsyncReporterCallbackLocks, NoneWhileTheRuntimeReports) {
    counting.report({result(1)}, 0, nullptr, false);
    counting.report({}, 0, nullptr, true);

    EXPECT_EQ(CountingMutex::locks, 0);
}

TEST_F(AsyncReporterCallbackLocks, NoneWhenAJobIsExpectedOrNot) {
    counting.expectJob();
    counting.expectNoJob();

    EXPECT_EQ(CountingMutex::locks, 0);
}

TEST_F(AsyncReporterCallbackLocks, OnceToAskWhetherTheJobIsDone) {
    EXPECT_TRUE(counting.isDone());

    EXPECT_EQ(CountingMutex::locks, 1);
}

TEST_F(AsyncReporterCallbackLocks, OnceToTakeTheResults) {
    counting.report({result(1)}, 0, nullptr, true);

    EXPECT_EQ(counting.takeResults().size(), 1U);

    EXPECT_EQ(CountingMutex::locks, 1);
}

} // namespace Quarlen::Tests
