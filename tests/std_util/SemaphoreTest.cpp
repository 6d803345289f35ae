#include "std_util/Semaphore.hpp"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <stop_token>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace StdUtil::Tests {

namespace {

bool isFreeForAnotherThread(Semaphore& semaphore) {
    bool free = false;
    std::jthread([&] {
        free = semaphore.try_lock();
        if (free) {
            semaphore.unlock();
        }
    }).join();
    return free;
}

/// Gives the other threads time to get to where they wait.
void letOthersRun() {
    for (int turn = 0; turn < 1000; ++turn) {
        std::this_thread::yield();
    }
}

TEST(Semaphore, KeepsAllButOneThreadOut) {
    Semaphore semaphore(nullptr, false, -1, false);
    int counter = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int count = 0; count < 1000; ++count) {
                const std::lock_guard lock(semaphore);
                ++counter;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(counter, 4000);
}

TEST(Semaphore, IsNotTakenByTwoThreads) {
    Semaphore semaphore;
    semaphore.lock();
    EXPECT_FALSE(isFreeForAnotherThread(semaphore));
    semaphore.unlock();
    EXPECT_TRUE(isFreeForAnotherThread(semaphore));
}

TEST(Semaphore, IsTakenAgainByTheThreadThatHoldsIt) {
    Semaphore semaphore;
    semaphore.lock();
    EXPECT_TRUE(semaphore.try_lock());
    EXPECT_TRUE(semaphore.lockOrGiveUp({}));
    semaphore.lock();

    for (int held = 4; held > 0; --held) {
        EXPECT_FALSE(isFreeForAnotherThread(semaphore)) << held;
        semaphore.unlock();
    }

    EXPECT_TRUE(isFreeForAnotherThread(semaphore));
}

TEST(Semaphore, EachWaitingThreadGetsItsTurn) {
    Semaphore semaphore;
    std::vector<std::jthread> threads;
    int turns = 0;
    {
        const std::lock_guard lock(semaphore);
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&] {
                const std::lock_guard own(semaphore);
                ++turns;
            });
        }
        letOthersRun();
        EXPECT_EQ(turns, 0);
    }
    threads.clear();
    EXPECT_EQ(turns, 3);
}

TEST(SemaphoreThatIsGivenUp, LeavesTheOneThatHoldsItAlone) {
    Semaphore semaphore;
    semaphore.lock();
    std::stop_source giveUp;
    bool taken = true;
    std::jthread waiting([&] { taken = semaphore.lockOrGiveUp(giveUp.get_token()); });
    letOthersRun();
    giveUp.request_stop();
    waiting.join();

    EXPECT_FALSE(taken);
    EXPECT_FALSE(isFreeForAnotherThread(semaphore));
    semaphore.unlock();
    EXPECT_TRUE(isFreeForAnotherThread(semaphore));
}

TEST(SemaphoreThatIsGivenUp, IsNotWaitedForWhenTheRequestCameBefore) {
    Semaphore semaphore;
    semaphore.lock();
    std::stop_source giveUp;
    giveUp.request_stop();
    bool taken = true;
    std::jthread([&] { taken = semaphore.lockOrGiveUp(giveUp.get_token()); }).join();

    EXPECT_FALSE(taken);
    semaphore.unlock();
}

TEST(SemaphoreThatIsGivenUp, IsTakenByWhoDoesNotHaveToWait) {
    Semaphore semaphore;
    std::stop_source giveUp;
    giveUp.request_stop();

    EXPECT_TRUE(semaphore.lockOrGiveUp(giveUp.get_token()));
    EXPECT_TRUE(semaphore.lockOrGiveUp(giveUp.get_token()));

    EXPECT_FALSE(isFreeForAnotherThread(semaphore));
    semaphore.unlock();
    semaphore.unlock();
}

TEST(SemaphoreThatIsGivenUp, IsWaitedForWithoutARequest) {
    Semaphore semaphore;
    std::stop_source giveUp;
    semaphore.lock();
    std::atomic<bool> taken{false};
    std::jthread waiting([&] {
        taken = semaphore.lockOrGiveUp(giveUp.get_token());
        semaphore.unlock();
    });
    letOthersRun();
    EXPECT_FALSE(taken);
    semaphore.unlock();
    waiting.join();

    EXPECT_TRUE(taken);
}

TEST(SemaphoreThatIsGivenUp, GoesToAnotherThreadThatWaits) {
    Semaphore semaphore;
    semaphore.lock();
    std::stop_source giveUp;
    std::jthread first([&] { EXPECT_FALSE(semaphore.lockOrGiveUp(giveUp.get_token())); });
    std::jthread second([&] { const std::lock_guard lock(semaphore); });
    letOthersRun();
    giveUp.request_stop();
    first.join();

    semaphore.unlock();

    second.join();
    EXPECT_TRUE(isFreeForAnotherThread(semaphore));
}

TEST(Semaphore, ExistsOnlyUnnamedAndOfTheDefaultMode) {
    EXPECT_THROW(Semaphore(L"name"), std::invalid_argument);
    EXPECT_THROW(Semaphore(nullptr, true), std::invalid_argument);
    EXPECT_THROW(Semaphore(nullptr, false, 0), std::invalid_argument);
    EXPECT_THROW(Semaphore(nullptr, false, -1, true), std::invalid_argument);
    EXPECT_NO_THROW(Semaphore(L""));
}

} // namespace

} // namespace StdUtil::Tests
