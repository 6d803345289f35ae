#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Clock.hpp"
#include "tests/doip/DoipTester.hpp"
#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {

/// Waits really, and remembers until when; a look at it takes a moment.
class ListeningClock : public Platform::Clock {
public:
    void sleepFor(std::chrono::milliseconds /*duration*/) override {}
    [[nodiscard]] TimePoint now() const override {
        const std::lock_guard lock(mutex);
        ++looks[std::this_thread::get_id()];
        current += std::chrono::milliseconds(1);
        return current;
    }
    bool waitUntil(const Wait& wait, const std::function<bool()>& ready) override {
        std::function<void()> begun;
        {
            const std::lock_guard lock(mutex);
            deadlines.push_back(wait.deadline);
            begun = std::exchange(onWait, {});
        }
        if (begun) {
            wait.lock.unlock();
            begun();
            wait.lock.lock();
        }
        return wait.changed.wait(wait.lock, wait.cancel, ready);
    }
    void advance(std::chrono::milliseconds time) {
        const std::lock_guard lock(mutex);
        current += time;
    }
    /// Called once, by whoever waits next.
    void onNextWait(std::function<void()> hook) {
        const std::lock_guard lock(mutex);
        onWait = std::move(hook);
    }
    /// How often other threads than the test's have looked at it: whoever reads a message does.
    [[nodiscard]] int othersLooks() const {
        const std::lock_guard lock(mutex);
        int count = 0;
        for (const auto& [thread, own] : looks) {
            count += thread == owner ? 0 : own;
        }
        return count;
    }
    [[nodiscard]] int looksOf(std::thread::id thread) const {
        const std::lock_guard lock(mutex);
        return looks[thread];
    }
    [[nodiscard]] std::vector<TimePoint> asked() const {
        const std::lock_guard lock(mutex);
        return deadlines;
    }

private:
    mutable std::mutex mutex;
    mutable TimePoint current{std::chrono::hours(1)};
    mutable std::map<std::thread::id, int> looks;
    const std::thread::id owner = std::this_thread::get_id();
    std::function<void()> onWait;
    std::vector<TimePoint> deadlines;
};

class WaitingDoipTester : public DoipTester {
protected:
    void SetUp() override { open(clock); }
    /// Before its clock.
    void TearDown() override { tester.reset(); }

    /// The connection's own thread looks all the time. An acknowledgement may take longer than all
    /// of its looks together.
    void openKept() {
        auto settings = vehicle.settings();
        settings.times.keepAlive = std::chrono::milliseconds(1);
        settings.times.acknowledgement = std::chrono::hours(1);
        open(settings, clock);
    }
    void beginExchange(Uds::Endpoint& end) {
        end.send(Quarlen::Tests::hex("3E 00"), {{}, clock.now() + std::chrono::hours(1)});
        vehicle.expect(PayloadType::DiagnosticMessage);
    }
    /// Returns once it finds no room.
    [[nodiscard]] std::future<void> sendLargeLater(Uds::Endpoint& end) {
        auto sending = std::async(std::launch::async, [&] {
            end.send(Bytes(largeSize, 0x36), {{}, clock.now() + std::chrono::hours(1)});
        });
        while (clock.asked().empty()) {
            std::this_thread::yield();
        }
        return sending;
    }
    /// Returns once the large message has begun to arrive. What comes before it only keeps the
    /// connection and is acknowledged.
    Header nextLarge() {
        for (;;) {
            const Header header = vehicle.nextHeader();
            if (header.length == largeSize + addressesSize) {
                return header;
            }
            if (vehicle.restOf(header).is(PayloadType::DiagnosticMessage)) {
                vehicle.acknowledge(ScriptedVehicle::entity);
            }
        }
    }
    std::optional<Uds::Received> receiveUntil(Uds::Endpoint& end,
                                              ListeningClock::TimePoint deadline) {
        return end.receive({{}, deadline});
    }
    /// Whether the test has read an answer itself. Its time is over once it has a look, but it has
    /// come in time.
    bool readsHimself(Uds::Endpoint& end) {
        beginExchange(end);
        clock.onNextWait([this] { vehicle.answer(unit, "7E 00"); });
        EXPECT_TRUE(receiveUntil(end, clock.now() + std::chrono::hours(1)));
        beginExchange(end);
        const int before = clock.othersLooks();
        vehicle.answer(unit, "7E 00");
        const bool isThere = receiveUntil(end, clock.now()).has_value();
        const bool othersRead = clock.othersLooks() > before;
        if (!isThere) {
            EXPECT_TRUE(receiveUntil(end, clock.now() + std::chrono::hours(1)));
        }
        return isThere && !othersRead;
    }
    /// The connection's thread may always be the first; not so often.
    bool readsHimselfAtTimes(Uds::Endpoint& end) {
        int round = 0;
        while (round < 2000 && !readsHimself(end)) {
            ++round;
        }
        return round < 2000;
    }

    /// More than the buffers of both sides hold.
    static constexpr std::size_t largeSize = std::size_t{64} << 20U;
    ListeningClock clock;
};

} // namespace Quarlen::Doip::Tests
