#include "platform/DetachedThread.hpp"

#include <cerrno>
#include <future>
#include <memory>
#include <system_error>

#include <gtest/gtest.h>

#include "platform/windows/ThreadStart.hpp"

namespace Quarlen::Platform::Tests {

namespace {

TEST(DetachedThread, RunsItsWork) {
    auto ran = std::make_shared<std::promise<void>>();
    auto done = ran->get_future();

    startDetachedThread([ran] { ran->set_value(); });

    EXPECT_EQ(done.wait_for(std::chrono::seconds(30)), std::future_status::ready);
}

class FailingThread : public testing::TestWithParam<int> {};

TEST_P(FailingThread, IsAnUnavailableResourceWhateverTheCause) {
    const auto owned = std::make_shared<int>();
    const std::weak_ptr<int> work = owned;
    const BeginThread fail = [](unsigned int(__stdcall*)(void*), void*) {
        errno = GetParam();
        return std::uintptr_t{0};
    };

    try {
        startDetachedThreadWith(fail, [owned] {});
        FAIL() << "nothing thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::make_error_code(std::errc::resource_unavailable_try_again));
    }

    EXPECT_EQ(work.use_count(), 1);
}

INSTANTIATE_TEST_SUITE_P(Causes, FailingThread, testing::Values(EACCES, EINVAL, EAGAIN, ENOMEM, 0));

} // namespace

} // namespace Quarlen::Platform::Tests
