#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/Clock.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/TestSocket.hpp"

namespace Quarlen::Tests {

/// A port of the loopback interface that is taken by nobody who listens, as the rest of old
/// connections keeps it, until somebody sleeps on its clock.
class BoundAddress {
public:
    BoundAddress() {
        holder->bindToLoopback();
        number = holder->port();
        clock.onSleep([this](std::chrono::milliseconds) { holder.reset(); });
    }

    [[nodiscard]] std::uint16_t port() const noexcept { return number; }
    [[nodiscard]] Platform::Clock& freedBySleep() noexcept { return clock; }
    [[nodiscard]] std::size_t sleeps() const { return clock.sleeps().size(); }

private:
    std::unique_ptr<TestSocket> holder = std::make_unique<TestSocket>();
    std::uint16_t number = 0;
    FakeClock clock;
};

} // namespace Quarlen::Tests
