#include "std_util/Semaphore.hpp"

#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace StdUtil;

namespace {

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

TEST(Semaphore, IsNotTakenTwice) {
    Semaphore semaphore;
    semaphore.lock();
    bool taken = true;
    std::jthread([&] { taken = semaphore.try_lock(); }).join();
    EXPECT_FALSE(taken);
    semaphore.unlock();
    EXPECT_TRUE(semaphore.try_lock());
    semaphore.unlock();
}

TEST(Semaphore, ExistsOnlyUnnamedAndOfTheDefaultMode) {
    EXPECT_THROW(Semaphore(L"name"), std::invalid_argument);
    EXPECT_THROW(Semaphore(nullptr, true), std::invalid_argument);
    EXPECT_THROW(Semaphore(nullptr, false, 0), std::invalid_argument);
    EXPECT_THROW(Semaphore(nullptr, false, -1, true), std::invalid_argument);
    EXPECT_NO_THROW(Semaphore(L""));
}

} // namespace
