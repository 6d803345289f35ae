#include "tests/kel_server_lib/sequence/actions/ActionFixture.hpp"

#include <chrono>
#include <ostream>

namespace Quarlen::Tests {

using namespace std::chrono_literals;

namespace {

constexpr std::size_t maxSleepsOfATest = 1000;
constexpr std::chrono::seconds maxLoop{100};
constexpr std::chrono::milliseconds betweenEndings{10};

} // namespace

ActionFixture::ActionFixture()
    : watchdog([this](const std::stop_token& testEnded) { endJobsAfterAWhile(testEnded); }) {
    clock.limitSleeps(maxSleepsOfATest);
}

std::string ActionFixture::lastCall() const {
    const Calls calls = api->calls();
    return calls.empty() ? std::string() : calls.back();
}

int ActionFixture::FlushedBuffer::sync() {
    hook();
    return std::stringbuf::sync();
}

void ActionFixture::onConsoleFlush(std::function<void()> hook) {
    flushedBuffer.hook = std::move(hook);
    static_cast<std::ostream&>(output).rdbuf(&flushedBuffer);
}

void ActionFixture::endJobsAfterAWhile(const std::stop_token& testEnded) {
    std::unique_lock lock(mutex);
    wakeUp.wait_for(lock, testEnded, maxLoop, [] { return false; });
    if (!testEnded.stop_requested()) {
        ADD_FAILURE() << "the action loops without an end";
    }
    // An action may go on with another job, which would loop again.
    while (!testEnded.stop_requested()) {
        handler.serviceReporter.report({}, 0, nullptr, true);
        handler.quicktestReporter.report({}, 0, nullptr, true);
        handler.flashReporter.report({}, 0, nullptr, true);
        wakeUp.wait_for(lock, testEnded, betweenEndings, [] { return false; });
    }
}

void FailingActionCall::expectToldAndFalse(const std::function<bool()>& run) {
    handler.currentJobId = 5;
    api->throwIn(GetParam(), L"gone", -3);

    EXPECT_FALSE(run());

    const Calls calls = api->calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[calls.size() - 2], GetParam());
    EXPECT_EQ(calls.back(), "setServerStatus(Exception caught: gone)");
    EXPECT_EQ(printed(), "Exception caught: gone code: -3\n");
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_EQ(api.use_count(), 1);
}

void FailingActionCall::expectPassed(const std::function<bool()>& run) {
    handler.currentJobId = 5;
    std::uint64_t jobIdAtTheCall = 0;
    api->during(GetParam(), [&] {
        jobIdAtTheCall = handler.currentJobId;
        throw std::runtime_error("other");
    });

    EXPECT_THROW(run(), std::runtime_error);

    EXPECT_EQ(lastCall(), GetParam());
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(handler.currentJobId, jobIdAtTheCall);
    EXPECT_EQ(api.use_count(), 1);
}

} // namespace Quarlen::Tests
