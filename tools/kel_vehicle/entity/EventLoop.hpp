#pragma once

#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include "platform/Clock.hpp"
#include "tools/kel_vehicle/entity/Schedule.hpp"

namespace Quarlen::KelVehicle {

/// The one thread of an entity: its sockets' handlers, what it sends at a later time, and what it
/// supervises. All times are those of the clock that it is given; a timer of the system only wakes
/// it, so that with the system's clock everything happens by itself and a test that moves a clock
/// of its own calls `runDue`.
class EventLoop {
public:
    using TimePoint = Platform::Clock::TimePoint;
    using Context = boost::asio::io_context;

    /// `clock` must outlive the loop. `onFailure` hears of exceptions that no handler has caught.
    EventLoop(Platform::Clock& clock, std::function<void(const std::wstring& cause)> onFailure);
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;
    // NOLINTNEXTLINE(bugprone-exception-escape): without memory for its last task the program ends
    ~EventLoop();

    void start();
    /// Waits until the thread has ended; the sockets must be closed.
    void stop();
    [[nodiscard]] bool isRunning() const noexcept { return thread.joinable(); }

    [[nodiscard]] Context& context() noexcept { return ioContext; }
    [[nodiscard]] Platform::Clock& clock() const noexcept { return time; }

    // What follows is for the loop's thread.

    /// Something goes out at that time.
    Schedule::Key sendAt(TimePoint due, Schedule::Work work);
    void cancelSend(const Schedule::Key& key) { sends.cancel(key); }
    /// A time limit has passed then. Of two that are due, whatever is sent comes first.
    Schedule::Key watchAt(TimePoint due, Schedule::Work work);
    void cancelWatch(const Schedule::Key& key) { watches.cancel(key); }
    void runDue();
    /// Does the work, and then at once what has become due by it.
    void runWithDue(const Schedule::Work& work);
    [[nodiscard]] std::optional<TimePoint> nextSend() const { return sends.nextDue(); }

    /// Runs the function on the thread and returns what it returns or throws. For other threads,
    /// between `start` and `stop`.
    template <class Function>
    auto call(Function function) {
        std::packaged_task<std::invoke_result_t<Function>()> task(std::move(function));
        auto result = task.get_future();
        boost::asio::post(ioContext, std::move(task));
        return result.get();
    }

private:
    void run();
    void arm();
    bool doDue();
    void post();
    void wakeAt(TimePoint next);

    Platform::Clock& time;
    const std::function<void(const std::wstring& cause)> onFailure;
    Context ioContext{1};
    std::optional<boost::asio::executor_work_guard<Context::executor_type>> work;
    boost::asio::steady_timer timer{ioContext};
    /// When the timer wakes the loop, by the clock.
    std::optional<TimePoint> wakes;
    bool isPosted = false;
    /// Somebody does what is due afterwards.
    bool isInWork = false;
    Schedule sends;
    Schedule watches;
    std::thread thread;
};

} // namespace Quarlen::KelVehicle
