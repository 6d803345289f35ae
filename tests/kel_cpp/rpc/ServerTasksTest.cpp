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

/// What a task tells the test. The task shares the promise, which it may still be inside of when
/// the test goes on and ends.
class Signal {
public:
    void give() const { promise->set_value(); }
    void await() const { promise->get_future().wait(); }

private:
    std::shared_ptr<std::promise<void>> promise = std::make_shared<std::promise<void>>();
};

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
    const Signal done;
    for (int number = 0; number < 5; ++number) {
        tasks->start(
            {L"S", L"", {}}, [&order, number] { order.push_back(number); }, [] {});
    }
    tasks->start(
        {L"S", L"", {}}, [done] { done.give(); }, [] {});
    done.await();

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
    const Signal done;
    while (!tasks->waitingStarts().empty()) {
        std::this_thread::yield();
    }
    tasks->start(
        {L"S", L"", {}}, [done] { done.give(); }, [] {});

    done.await();
}

TEST_F(SomeServerTasks, CancelTheStartThatRunsUntilItHasEnded) {
    start(L"running");
    awaitRunning(1);
    start(L"waiting");
    tasks->refuse();
    int cancels = 0;

    // A released start may take so long to end that it is cancelled once more.
    tasks->endRunningStart([&] {
        if (++cancels <= 2) {
            EXPECT_EQ(ended, 0);
        }
        if (cancels == 2) {
            release();
        }
    });

    EXPECT_GE(cancels, 2);
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(running, 1);
}

TEST_F(SomeServerTasks, CancelNothingWhereNoStartRuns) {
    const Signal done;
    tasks->query([done] { done.give(); });
    done.await();
    int cancels = 0;

    tasks->endRunningStart([&] { ++cancels; });

    EXPECT_EQ(cancels, 0);
}

TEST_F(SomeServerTasks, DoNotWaitForAStartThatEndsThem) {
    const Signal done;
    int cancels = 0;
    tasks->start(
        {L"S", L"", {}},
        [this, &cancels, done] {
            tasks->refuse();
            tasks->endRunningStart([&] { ++cancels; });
            done.give();
        },
        [] {});

    done.await();
    EXPECT_EQ(cancels, 0);
}

TEST_F(SomeServerTasks, RunsCancelsAndQueriesBesideAStart) {
    start(L"long");
    awaitRunning(1);
    const Signal cancelled;
    const Signal asked;

    tasks->cancel([cancelled] { cancelled.give(); });
    tasks->query([asked] { asked.give(); });

    cancelled.await();
    asked.await();
}

TEST_F(SomeServerTasks, BeginTheNextStartWhenTheCancelsHaveEnded) {
    std::atomic<bool> hasWaited{false};
    const Signal done;
    tasks->cancel(waitingTask());
    awaitRunning(1);
    tasks->start(
        {L"S", L"", {}},
        [this, &hasWaited, done] {
            hasWaited = ended == 1;
            done.give();
        },
        [] {});
    // What has been asked behind the start is answered: its thread has had the time to begin it.
    for (int number = 0; number < 100; ++number) {
        const Signal answered;
        tasks->query([answered] { answered.give(); });
        answered.await();
    }
    EXPECT_EQ(tasks->waitingStarts().size(), 1U);
    release();

    done.await();
    EXPECT_TRUE(hasWaited);
}

TEST_F(SomeServerTasks, StopWhileAStartWaitsForTheCancelThatStopsThem) {
    const Signal stopped;
    tasks->cancel([this, stopped] {
        tasks->start(
            {L"S", L"", {}}, [] {}, [this] { ++dropped; });
        tasks->stop();
        stopped.give();
    });
    stopped.await();

    EXPECT_EQ(dropped, 1);
}

TEST_F(SomeServerTasks, RunsACancelBesideThreeOthersThatWait) {
    for (int number = 0; number < 3; ++number) {
        tasks->cancel(waitingTask());
    }
    const Signal cancelled;

    tasks->cancel([cancelled] { cancelled.give(); });

    cancelled.await();
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
        const Signal done;
        tasks->query([done] { done.give(); });
        done.await();
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
    const Signal destroyed;
    tasks->start(
        {L"S", L"", {}},
        [this, destroyed] {
            tasks.reset();
            destroyed.give();
        },
        [] {});

    destroyed.await();
    EXPECT_EQ(tasks, nullptr);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
