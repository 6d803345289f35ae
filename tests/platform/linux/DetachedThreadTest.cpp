#include "platform/DetachedThread.hpp"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <future>
#include <iterator>
#include <memory>
#include <pthread.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/platform/linux/TerminalChild.hpp"

namespace Quarlen::Platform::Tests {

namespace {

/// Of this process, those of a sanitizer included.
std::ptrdiff_t threadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                         std::filesystem::directory_iterator());
}

TEST(DetachedThread, WorksWhileItsStarterGoesOn) {
    std::thread([] {}).join(); // a sanitizer may begin its own thread with the first
    const std::ptrdiff_t countBefore = threadCount();
    std::promise<void> goOn;
    // The thread owns what it touches last.
    const auto done = std::make_shared<std::promise<void>>();
    startDetachedThread([told = goOn.get_future().share(), done] {
        EXPECT_EQ(told.wait_for(std::chrono::seconds(30)), std::future_status::ready)
            << "the starter waits for the thread";
        done->set_value();
    });
    goOn.set_value();
    EXPECT_EQ(done->get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    // Nobody can join it, and a test that forks must not find it still ending.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (threadCount() > countBefore && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_LE(threadCount(), countBefore);
}

TEST(DetachedThread, ThrowsTheSystemsErrorWhenItCannotBeCreated) {
    const int result = runWithInput(STDIN_FILENO, [] {
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        constexpr std::size_t noRoomForThisStack = std::size_t{1} << 47U;
        ::pthread_attr_setstacksize(&attributes, noRoomForThisStack);
        ::pthread_setattr_default_np(&attributes);
        try {
            startDetachedThread([] {});
        } catch (const std::system_error& error) {
            return error.code() == std::errc::resource_unavailable_try_again ? 0 : 1;
        }
        return 2;
    });
    EXPECT_EQ(result, 0);
}

} // namespace

} // namespace Quarlen::Platform::Tests
