#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>

#include "doip/Message.hpp"

namespace Quarlen::KelVehicle {

/// What a message costs in memory beside its bytes.
inline constexpr std::size_t perMessage = 128;

/// What waits to be sent to one tester, message by message. Not thread-safe.
class Outbox {
public:
    using Milliseconds = std::chrono::milliseconds;

    void add(Doip::Bytes message, Milliseconds byteInterval);
    [[nodiscard]] bool isEmpty() const noexcept { return messages.empty(); }
    /// What waits, with `perMessage`.
    [[nodiscard]] std::size_t size() const noexcept { return waiting; }

    /// What is to be handed to the system at once: the rest of one message, or one byte of it.
    [[nodiscard]] std::span<const std::uint8_t> piece() const;
    /// So many bytes of the piece were taken. Says how long to wait before the next one.
    Milliseconds take(std::size_t count);
    /// Whether another message waits behind a first one that goes out in one go.
    [[nodiscard]] bool hasSecond() const noexcept {
        return messages.size() > 1 && messages.front().byteInterval.count() == 0;
    }
    void clear();

private:
    struct Waiting {
        Doip::Bytes bytes;
        Milliseconds byteInterval;
    };

    std::deque<Waiting> messages;
    /// Of the first message.
    std::size_t sent = 0;
    std::size_t waiting = 0;
};

} // namespace Quarlen::KelVehicle
