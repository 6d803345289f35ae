#include "tools/kel_vehicle/entity/EventLoop.hpp"

#include <algorithm>
#include <chrono>
#include <exception>

#include "platform/SystemError.hpp"

namespace Quarlen::KelVehicle {

EventLoop::EventLoop(Platform::Clock& clock,
                     std::function<void(const std::wstring& cause)> onFailure)
    : time(clock), onFailure(std::move(onFailure)) {}

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its last task the program ends
EventLoop::~EventLoop() {
    stop();
}

void EventLoop::start() {
    work.emplace(ioContext.get_executor());
    thread = std::thread([this] { run(); });
}

void EventLoop::stop() {
    if (!thread.joinable()) {
        return;
    }
    call([this] {
        sends.clear();
        watches.clear();
        timer.cancel();
    });
    work.reset();
    thread.join();
}

void EventLoop::run() {
    for (;;) {
        try {
            ioContext.run();
            return;
        } catch (const std::exception& error) {
            // A failure of one tester (no memory, for instance) must not end the service of others.
            onFailure(Platform::exceptionText(error));
        }
    }
}

Schedule::Key EventLoop::sendAt(TimePoint due, Schedule::Work work) {
    const auto key = sends.add(due, std::move(work));
    arm();
    return key;
}

Schedule::Key EventLoop::watchAt(TimePoint due, Schedule::Work work) {
    const auto key = watches.add(due, std::move(work));
    arm();
    return key;
}

void EventLoop::runDue() {
    while (doDue()) {
    }
    arm();
}

void EventLoop::runWithDue(const Schedule::Work& work) {
    isInWork = true;
    try {
        work();
    } catch (...) {
        isInWork = false;
        arm();
        throw;
    }
    isInWork = false;
    runDue();
}

/// What fails for one tester is not the failure of whoever is being served.
bool EventLoop::doDue() {
    try {
        return sends.doNext(time.now()) || watches.doNext(time.now());
    } catch (const std::exception& error) {
        onFailure(Platform::exceptionText(error));
        return true;
    }
}

/// What is due waits for nothing but what the loop is doing.
void EventLoop::arm() {
    if (isInWork) {
        return;
    }
    const auto send = sends.nextDue();
    const auto watch = watches.nextDue();
    if (!send && !watch) {
        return;
    }
    const auto next = std::min(send.value_or(TimePoint::max()), watch.value_or(TimePoint::max()));
    if (next <= time.now()) {
        post();
    } else if (!wakes || next < *wakes) {
        wakeAt(next);
    }
}

void EventLoop::post() {
    if (!std::exchange(isPosted, true)) {
        boost::asio::post(ioContext, [this] {
            isPosted = false;
            runDue();
        });
    }
}

/// A clock that a test moves may stand still: the timer then comes again, never at once.
void EventLoop::wakeAt(TimePoint next) {
    constexpr std::chrono::milliseconds shortest{1};
    wakes = next;
    const auto left = std::max<TimePoint::duration>(next - time.now(), shortest);
    timer.expires_after(std::min<TimePoint::duration>(left, std::chrono::hours(1)));
    timer.async_wait([this](const boost::system::error_code& cancelled) {
        if (!cancelled) {
            wakes.reset();
            runDue();
        }
    });
}

} // namespace Quarlen::KelVehicle
