#include "platform/DetachedThread.hpp"

#include <chrono>
#include <cstddef>
#include <future>
#include <pthread.h>
#include <system_error>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/platform/linux/TerminalChild.hpp"

using namespace Quarlen::Platform;

namespace {

TEST(DetachedThread, WorksWhileItsStarterGoesOn) {
    std::promise<void> goOn;
    std::promise<void> done;
    startDetachedThread([&goOn, &done] {
        const bool told =
            goOn.get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready;
        EXPECT_TRUE(told) << "the starter waits for the thread";
        done.set_value_at_thread_exit();
    });
    goOn.set_value();
    EXPECT_EQ(done.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
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
