#include "kel_server_lib/http/WorkerPool.hpp"

#include <atomic>
#include <future>
#include <memory>

#include <gtest/gtest.h>

namespace Quarlen::Rest::Tests {

namespace {

using std::chrono::milliseconds;

/// Tasks that are held until the gate opens.
class WorkerPoolTest : public testing::Test {
protected:
    static bool eventually(const std::function<bool()>& reached) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(100);
        while (std::chrono::steady_clock::now() < deadline) {
            if (reached()) {
                return true;
            }
            std::this_thread::yield();
        }
        return false;
    }

    bool enqueueHeld(WorkerPool& pool) {
        return pool.enqueue([this] {
            ++running;
            gate.wait();
            --running;
            ++done;
        });
    }

    void open() { opener.set_value(); }

    /// Tasks that do not wait at the gate.
    void runOneAfterTheOther(WorkerPool& pool, int tasks) {
        open();
        for (int count = 1; count <= tasks; ++count) {
            ASSERT_TRUE(enqueueHeld(pool));
            ASSERT_TRUE(eventually([&] { return done == count; }));
        }
    }

    std::promise<void> opener;
    std::shared_future<void> gate = opener.get_future().share();
    std::atomic<int> running{0};
    std::atomic<int> done{0};
};

TEST(WorkerLimits, AreThoseOfTheServer) {
    EXPECT_EQ(WorkerLimits{}.maxWorkers, 512U);
    EXPECT_EQ(WorkerLimits{}.spareWorkers, 32U);
    EXPECT_EQ(WorkerLimits{}.idleTime, std::chrono::seconds(5));
}

TEST_F(WorkerPoolTest, HasNoWorkersBeforeTheFirstTask) {
    const WorkerPool pool;

    EXPECT_EQ(pool.workerCount(), 0U);
}

TEST_F(WorkerPoolTest, RunsTasksThatArriveTogetherAtTheSameTime) {
    WorkerPool pool;
    for (int count = 0; count < 40; ++count) {
        ASSERT_TRUE(enqueueHeld(pool));
    }

    EXPECT_TRUE(eventually([this] { return running == 40; })) << running;

    open();
    pool.shutdown();
    EXPECT_EQ(done, 40);
}

TEST_F(WorkerPoolTest, RefusesATaskBeyondItsLimit) {
    WorkerPool pool({.maxWorkers = 3});
    for (int count = 0; count < 3; ++count) {
        ASSERT_TRUE(enqueueHeld(pool));
    }

    EXPECT_FALSE(enqueueHeld(pool));

    open();
    pool.shutdown();
    EXPECT_EQ(done, 3);
}

TEST_F(WorkerPoolTest, TakesTasksAgainOnceAWorkerIsFree) {
    WorkerPool pool({.maxWorkers = 1});
    ASSERT_TRUE(enqueueHeld(pool));
    EXPECT_FALSE(enqueueHeld(pool));
    open();

    EXPECT_TRUE(eventually([&] { return enqueueHeld(pool); }));

    pool.shutdown();
    EXPECT_EQ(done, 2);
}

TEST_F(WorkerPoolTest, KeepsATaskForTheNextFreeWorkerBeyondItsLimit) {
    WorkerPool pool({.maxWorkers = 1});
    ASSERT_TRUE(enqueueHeld(pool));
    bool ran = false;
    EXPECT_FALSE(enqueueHeld(pool));

    EXPECT_TRUE(pool.enqueueForNextFree([&] { ran = true; }));
    EXPECT_EQ(pool.workerCount(), 1U);

    open();
    pool.shutdown();
    EXPECT_TRUE(ran);
    EXPECT_FALSE(pool.enqueueForNextFree([] {}));
}

TEST_F(WorkerPoolTest, WakesAnIdleWorkerForATaskOfTheNextFree) {
    WorkerPool pool({.spareWorkers = 0, .idleTime = std::chrono::hours(1)});
    runOneAfterTheOther(pool, 1);

    for (int count = 2; count <= 20; ++count) {
        ASSERT_TRUE(pool.enqueueForNextFree([this] { ++done; }));
        ASSERT_TRUE(eventually([&] { return done == count; }));
    }
}

TEST_F(WorkerPoolTest, UsesIdleWorkersAgain) {
    WorkerPool pool({.spareWorkers = 0, .idleTime = std::chrono::hours(1)});
    runOneAfterTheOther(pool, 50);

    // Those that have just ended their task may not count as idle yet when the next arrives.
    EXPECT_LE(pool.workerCount(), 25U);
}

TEST_F(WorkerPoolTest, KeepsSpareWorkersReadyWhileTasksCome) {
    WorkerPool pool({.spareWorkers = 5, .idleTime = std::chrono::hours(1)});
    runOneAfterTheOther(pool, 50);

    EXPECT_GE(pool.workerCount(), 6U);
    EXPECT_LE(pool.workerCount(), 25U);
}

TEST_F(WorkerPoolTest, SparesTakeTasksAtTheLimit) {
    WorkerPool pool({.maxWorkers = 2, .spareWorkers = 5, .idleTime = std::chrono::hours(1)});
    open();
    for (int count = 1; count <= 10; ++count) {
        ASSERT_TRUE(eventually([&] { return enqueueHeld(pool); }));
    }

    EXPECT_TRUE(eventually([this] { return done == 10; })) << done;
    EXPECT_EQ(pool.workerCount(), 2U);
}

TEST_F(WorkerPoolTest, ShrinksToNothingWhenItIsIdle) {
    WorkerPool pool({.idleTime = milliseconds(1)});
    for (int count = 0; count < 20; ++count) {
        enqueueHeld(pool);
    }
    open();

    EXPECT_TRUE(eventually([&] { return pool.workerCount() == 0; })) << pool.workerCount();
    EXPECT_EQ(done, 20);
}

TEST_F(WorkerPoolTest, GrowsAgainAfterItHasShrunk) {
    WorkerPool pool({.idleTime = milliseconds(1)});
    open();
    enqueueHeld(pool);
    ASSERT_TRUE(eventually([&] { return pool.workerCount() == 0; }));

    EXPECT_TRUE(enqueueHeld(pool));

    EXPECT_TRUE(eventually([this] { return done == 2; }));
}

TEST_F(WorkerPoolTest, LetsEveryTaskEndAtShutdown) {
    WorkerPool pool;
    for (int count = 0; count < 10; ++count) {
        enqueueHeld(pool);
    }
    auto shutdown = std::async(std::launch::async, [&] { pool.shutdown(); });

    EXPECT_EQ(shutdown.wait_for(milliseconds(10)), std::future_status::timeout);

    open();
    shutdown.get();
    EXPECT_EQ(done, 10);
    EXPECT_EQ(pool.workerCount(), 0U);
}

TEST_F(WorkerPoolTest, RefusesTasksAfterShutdown) {
    WorkerPool pool;
    pool.shutdown();
    open();

    EXPECT_FALSE(enqueueHeld(pool));
}

TEST_F(WorkerPoolTest, ReleasesATaskBeforeItsWorkerIdles) {
    WorkerPool pool;
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;

    pool.enqueue([held = std::move(held)] {});

    EXPECT_TRUE(eventually([&] { return watched.expired(); }));
}

} // namespace

} // namespace Quarlen::Rest::Tests
