#include "kel_server/KeyboardThread.hpp"

#include <future>
#include <sstream>
#include <system_error>

#include <gtest/gtest.h>

#include "tests/kel_server/ScriptedKeys.hpp"
#include "tests/support/CountingBuffer.hpp"

namespace Quarlen::Tests {

namespace {

class KeyboardThread : public testing::Test {
protected:
    /// Presses the keys and returns, once the thread has ended, how many it has read.
    std::size_t press(const std::string& keys) {
        auto keysRead = std::make_shared<std::promise<std::size_t>>();
        auto result = keysRead->get_future();
        environment.openKeys = [&keys, keysRead] {
            return std::make_unique<Tests::ScriptedKeys>(
                keys, [keysRead](std::size_t count) { keysRead->set_value(count); });
        };
        startKeyboardThread(stopRequested, environment);
        return result.get();
    }

    Tests::CountingBuffer output;
    std::ostream stream{&output};
    Platform::Console console{stream};
    std::shared_ptr<std::atomic<bool>> stopRequested = std::make_shared<std::atomic<bool>>(false);
    ApplicationEnvironment environment{.getKelApi = {}, .console = console};
};

TEST_F(KeyboardThread, PrintsThePrompt) {
    press("");

    EXPECT_EQ(output.str(), "Enter 'q' and Enter to exit\n");
}

TEST_F(KeyboardThread, LeavesThePromptUnflushed) {
    press("");

    EXPECT_FALSE(output.str().empty());
    EXPECT_EQ(output.flushes, 0);
}

TEST_F(KeyboardThread, PrintsThePromptBeforeTheThreadExists) {
    environment.openKeys = [] { return std::make_unique<Tests::ScriptedKeys>("q"); };
    std::string printedBefore;
    environment.startDetachedThread = [&](const std::function<void()>& work) {
        printedBefore = output.str();
        EXPECT_FALSE(stopRequested->load());
        work();
    };

    startKeyboardThread(stopRequested, environment);

    EXPECT_EQ(printedBefore, "Enter 'q' and Enter to exit\n");
    EXPECT_TRUE(stopRequested->load());
}

TEST_F(KeyboardThread, GivesTheKeyboardBackWhenItCannotBeCreated) {
    std::size_t released = 0;
    environment.openKeys = [&released] {
        return std::make_unique<Tests::ScriptedKeys>("q", [&](std::size_t) { ++released; });
    };
    environment.startDetachedThread = [](const std::function<void()>&) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    };

    EXPECT_THROW(startKeyboardThread(stopRequested, environment), std::system_error);

    EXPECT_EQ(released, 1U);
    EXPECT_FALSE(stopRequested->load());
}

TEST_F(KeyboardThread, RaisesTheStopAtQWithoutEnter) {
    EXPECT_EQ(press("q"), 1U);

    EXPECT_TRUE(stopRequested->load());
}

TEST_F(KeyboardThread, LeavesAStopRaisedThatIsRaisedAlready) {
    stopRequested->store(true);

    press("q");

    EXPECT_TRUE(stopRequested->load());
}

TEST_F(KeyboardThread, IgnoresEveryOtherKey) {
    press("Q\r\nxF1\x1B[11~");

    EXPECT_FALSE(stopRequested->load());
}

TEST_F(KeyboardThread, ReadsOnToTheFirstQAndNotBehindIt) {
    EXPECT_EQ(press("Q\nabqq"), 5U);

    EXPECT_TRUE(stopRequested->load());
}

TEST_F(KeyboardThread, EndsWithTheInputWithoutAStop) {
    EXPECT_EQ(press("ab"), 2U);

    EXPECT_FALSE(stopRequested->load());
}

/// Blocks like a keyboard on which nobody presses a key, until it is let go.
class WaitingKeys : public Platform::KeyReader {
public:
    explicit WaitingKeys(std::shared_future<int> key, std::promise<void> released)
        : key(std::move(key)), released(std::move(released)) {}
    WaitingKeys(const WaitingKeys&) = delete;
    WaitingKeys& operator=(const WaitingKeys&) = delete;
    ~WaitingKeys() override { released.set_value(); }

    std::optional<int> readKey() override { return key.get(); }

private:
    std::shared_future<int> key;
    std::promise<void> released;
};

TEST_F(KeyboardThread, OutlivesWhoeverStartedIt) {
    std::promise<int> key;
    std::promise<void> released;
    auto threadEnded = released.get_future();
    std::weak_ptr<std::atomic<bool>> flag = stopRequested;
    environment.openKeys = [&] {
        return std::make_unique<WaitingKeys>(key.get_future().share(), std::move(released));
    };
    startKeyboardThread(std::move(stopRequested), environment);
    EXPECT_FALSE(flag.expired());

    key.set_value('q');

    EXPECT_EQ(threadEnded.wait_for(std::chrono::seconds(30)), std::future_status::ready);
}

} // namespace

} // namespace Quarlen::Tests
