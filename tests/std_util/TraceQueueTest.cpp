#include "std_util/TraceQueue.hpp"

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace StdUtil::Tests {

namespace {

TimedTrace timedTrace(std::wstring text) {
    return {std::chrono::system_clock::now(), {TraceLevel::Info, L"", 1, std::move(text)}};
}

/// A writer that writes down the texts and can be held up.
class TraceQueueTest : public testing::Test {
protected:
    TraceQueue::Writer writer() {
        return [this](const TraceQueue::Traces& traces) {
            hasStarted = true;
            hasStarted.notify_all();
            gate.wait();
            for (const TimedTrace& trace : traces) {
                written += trace.line.text;
            }
        };
    }

    void open() { opener.set_value(); }

    std::atomic<bool> hasStarted{false};
    std::promise<void> opener;
    std::shared_future<void> gate = opener.get_future().share();
    /// Only looked at once the queue has gone.
    std::wstring written;
};

TEST_F(TraceQueueTest, WritesInTheOrderOfArrival) {
    open();
    {
        TraceQueue queue(writer());
        for (const wchar_t* const text : {L"a", L"b", L"c", L"d"}) {
            queue.push(timedTrace(text));
        }
    }
    EXPECT_EQ(written, L"abcd");
}

TEST_F(TraceQueueTest, DoesNotMakeTheTracingThreadWaitForTheDisk) {
    {
        TraceQueue queue(writer());
        queue.push(timedTrace(L"a"));
        hasStarted.wait(false);
        queue.push(timedTrace(L"b")); // comes back although the writer is held up
        open();
    }
    EXPECT_EQ(written, L"ab");
}

TEST_F(TraceQueueTest, LetsTheTracingThreadWaitForRoomInsteadOfGrowing) {
    TraceQueue queue(writer(), 10);
    queue.push(timedTrace(L"1"));
    hasStarted.wait(false);
    queue.push(timedTrace(L"0123456789"));
    auto third = std::async(std::launch::async, [&] { queue.push(timedTrace(L"x")); });

    EXPECT_EQ(third.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);

    open();
    third.get();
}

TEST_F(TraceQueueTest, TakesATraceThatIsLargerThanItsWholeRoom) {
    open();
    {
        TraceQueue queue(writer(), 3);
        queue.push(timedTrace(L"0123456789"));
    }
    EXPECT_EQ(written, L"0123456789");
}

TEST_F(TraceQueueTest, GoesOnAfterAWriterThatThrows) {
    {
        TraceQueue queue([&](const TraceQueue::Traces& traces) {
            if (!hasStarted.exchange(true)) {
                hasStarted.notify_all();
                throw std::runtime_error("disk full");
            }
            written += traces.back().line.text;
        });
        queue.push(timedTrace(L"bad"));
        hasStarted.wait(false);
        queue.push(timedTrace(L"good"));
    }
    EXPECT_EQ(written, L"good");
}

} // namespace

} // namespace StdUtil::Tests
