#include "kel_cpp/rpc/ServerTasks.hpp"

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/rpc/RpcError.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

/// Tasks that wait until the test lets all of them go on.
class SomeServerTasks : public testing::Test {
protected:
    ~SomeServerTasks() override { release(); }

    ServerTasks::Task waitingTask() {
        return [this] {
            ++running;
            released.wait();
            ++ended;
        };
    }
    void release() {
        if (!isReleased.exchange(true)) {
            gate.set_value();
        }
    }
    void awaitRunning(int count) const {
        while (running < count) {
            std::this_thread::yield();
        }
    }
    void start(const std::wstring& name) {
        tasks->start({name, L"client", {}}, waitingTask(), [this] { ++dropped; });
    }

    std::promise<void> gate;
    std::shared_future<void> released = gate.get_future().share();
    std::atomic<bool> isReleased{false};
    std::atomic<int> running{0};
    std::atomic<int> ended{0};
    std::atomic<int> dropped{0};
    std::unique_ptr<ServerTasks> tasks = std::make_unique<ServerTasks>();
};

TEST_F(SomeServerTasks, RunsStartsOneAfterTheOtherInOrder) {
    std::vector<int> order;
    std::promise<void> done;
    for (int number = 0; number < 5; ++number) {
        tasks->start(
            {L"S", L"", {}}, [&order, number] { order.push_back(number); }, [] {});
    }
    tasks->start(
        {L"S", L"", {}}, [&] { done.set_value(); }, [] {});
    done.get_future().wait();

    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(SomeServerTasks, ListsTheStartsThatWaitWithoutTheRunningOne) {
    start(L"first");
    awaitRunning(1);
    start(L"second");
    start(L"third");

    const auto waiting = tasks->waitingStarts();

    ASSERT_EQ(waiting.size(), 2U);
    EXPECT_EQ(waiting[0].name, L"second");
    EXPECT_EQ(waiting[0].client, L"client");
    EXPECT_EQ(waiting[1].name, L"third");
}

TEST_F(SomeServerTasks, RefusesTheSeventeenthStartThatWaits) {
    start(L"running");
    awaitRunning(1);
    for (int number = 0; number < 16; ++number) {
        start(L"waiting");
    }

    try {
        start(L"one too many");
        ADD_FAILURE();
    } catch (const RpcError& error) {
        EXPECT_EQ(error.code(), RpcErrorCode::Busy);
        EXPECT_STREQ(error.what(), "too many sequences wait");
    }
    EXPECT_EQ(tasks->waitingStarts().size(), 16U);
}

TEST_F(SomeServerTasks, RefusesTheSixteenthStartBehindOneThatWaitsForSomebodyElse) {
    start(L"waits");
    awaitRunning(1);
    for (int number = 0; number < 15; ++number) {
        start(L"waiting");
    }

    EXPECT_THROW(tasks->start(
                     {L"S", L"", {}}, waitingTask(), [] {}, true),
                 RpcError);
    start(L"would be the sixteenth");
}

TEST_F(SomeServerTasks, TakesAStartAgainWhenTheOthersHaveEnded) {
    for (int number = 0; number < 16; ++number) {
        start(L"S");
    }
    release();
    awaitRunning(16);
    std::promise<void> done;
    while (!tasks->waitingStarts().empty()) {
        std::this_thread::yield();
    }
    tasks->start(
        {L"S", L"", {}}, [&] { done.set_value(); }, [] {});

    done.get_future().wait();
}

TEST_F(SomeServerTasks, CancelTheStartThatRunsUntilItHasEnded) {
    start(L"running");
    awaitRunning(1);
    start(L"waiting");
    tasks->refuse();
    int cancels = 0;

    tasks->endRunningStart([&] {
        EXPECT_EQ(ended, 0);
        if (++cancels == 2) {
            release();
        }
    });

    EXPECT_EQ(cancels, 2);
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(running, 1);
}

TEST_F(SomeServerTasks, CancelNothingWhereNoStartRuns) {
    std::promise<void> done;
    tasks->query([&] { done.set_value(); });
    done.get_future().wait();
    int cancels = 0;

    tasks->endRunningStart([&] { ++cancels; });

    EXPECT_EQ(cancels, 0);
}

TEST_F(SomeServerTasks, DoNotWaitForAStartThatEndsThem) {
    std::promise<void> done;
    int cancels = 0;
    tasks->start(
        {L"S", L"", {}},
        [&] {
            tasks->refuse();
            tasks->endRunningStart([&] { ++cancels; });
            done.set_value();
        },
        [] {});

    done.get_future().wait();
    EXPECT_EQ(cancels, 0);
}

TEST_F(SomeServerTasks, RunsCancelsAndQueriesBesideAStart) {
    start(L"long");
    awaitRunning(1);
    std::promise<void> cancelled;
    std::promise<void> asked;

    tasks->cancel([&] { cancelled.set_value(); });
    tasks->query([&] { asked.set_value(); });

    cancelled.get_future().wait();
    asked.get_future().wait();
}

TEST_F(SomeServerTasks, BeginTheNextStartWhenTheCancelsHaveEnded) {
    std::promise<bool> hasWaited;
    tasks->cancel(waitingTask());
    awaitRunning(1);
    tasks->start(
        {L"S", L"", {}}, [&] { hasWaited.set_value(ended == 1); }, [] {});
    // What has been asked behind the start is answered: its thread has had the time to begin it.
    for (int number = 0; number < 100; ++number) {
        std::promise<void> isAnswered;
        tasks->query([&] { isAnswered.set_value(); });
        isAnswered.get_future().wait();
    }
    EXPECT_EQ(tasks->waitingStarts().size(), 1U);
    release();

    EXPECT_TRUE(hasWaited.get_future().get());
}

TEST_F(SomeServerTasks, StopWhileAStartWaitsForTheCancelThatStopsThem) {
    std::promise<void> isStopped;
    tasks->cancel([&] {
        tasks->start(
            {L"S", L"", {}}, [] {}, [this] { ++dropped; });
        tasks->stop();
        isStopped.set_value();
    });
    isStopped.get_future().wait();

    EXPECT_EQ(dropped, 1);
}

TEST_F(SomeServerTasks, RunsACancelBesideThreeOthersThatWait) {
    for (int number = 0; number < 3; ++number) {
        tasks->cancel(waitingTask());
    }
    std::promise<void> cancelled;

    tasks->cancel([&] { cancelled.set_value(); });

    cancelled.get_future().wait();
}

TEST_F(SomeServerTasks, RefusesTheSeventeenthCancelAndTheSixtyFifthQuery) {
    for (int number = 0; number < 16; ++number) {
        tasks->cancel(waitingTask());
    }
    EXPECT_THROW(tasks->cancel(waitingTask()), RpcError);
    for (int number = 0; number < 64; ++number) {
        tasks->query(waitingTask());
    }
    EXPECT_THROW(tasks->query(waitingTask()), RpcError);
}

TEST_F(SomeServerTasks, TakesTasksAgainWhenOthersHaveEnded) {
    for (int round = 0; round < 100; ++round) {
        std::promise<void> done;
        tasks->query([&] { done.set_value(); });
        done.get_future().wait();
    }
}

TEST_F(SomeServerTasks, DropsWaitingStartsWhenItStopsAndWaitsForTheRunningOne) {
    start(L"running");
    awaitRunning(1);
    start(L"waiting");
    std::thread stopper([&] { tasks->stop(); });
    while (dropped == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(ended, 0);

    release();
    stopper.join();

    EXPECT_EQ(ended, 1);
    EXPECT_EQ(running, 1);
    EXPECT_EQ(dropped, 1);
}

TEST_F(SomeServerTasks, LetTheRunningTasksGoOnWhenTheyRefuseFurtherOnes) {
    start(L"running");
    awaitRunning(1);
    start(L"waiting");

    tasks->refuse();

    EXPECT_EQ(dropped, 1);
    EXPECT_EQ(ended, 0);
    EXPECT_THROW(start(L"late"), RpcError);
}

TEST_F(SomeServerTasks, RefusesTasksAfterAStop) {
    tasks->stop();
    tasks->stop();

    EXPECT_THROW(start(L"late"), RpcError);
    EXPECT_THROW(tasks->cancel([] {}), RpcError);
    EXPECT_THROW(tasks->query([] {}), RpcError);
    EXPECT_EQ(dropped, 0);
}

TEST_F(SomeServerTasks, CanBeDestroyedByOneOfTheirTasks) {
    std::promise<void> destroyed;
    tasks->start(
        {L"S", L"", {}},
        [&] {
            tasks.reset();
            destroyed.set_value();
        },
        [] {});

    destroyed.get_future().wait();
    EXPECT_EQ(tasks, nullptr);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
