#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "doip/MalformedMessage.hpp"
#include "doip/Message.hpp"

namespace Quarlen::Doip {

/// Puts messages together from the bytes of a TCP connection, however they are cut. It never holds
/// more than one message beside what was added last. Not thread-safe.
class MessageReader {
public:
    /// `maxPayload` bounds the bytes of one payload.
    explicit MessageReader(std::size_t maxPayload) : maxPayload(maxPayload) {}

    /// What arrived. Take all messages before the next call.
    void add(std::span<const std::uint8_t> arrived);

    /// The next whole message; nothing when more bytes are needed. Throws `MalformedMessage` for a
    /// header that is none (IncorrectPattern: a version that is not known or not repeated inverted)
    /// or that announces more than `maxPayload` (MessageTooLarge); nothing can be read after that.
    [[nodiscard]] std::optional<Message> next();

    /// Forgets everything: another connection begins.
    void reset() noexcept;

    /// True in the middle of a message, where the connection must not end.
    [[nodiscard]] bool isInMessage() const noexcept;

private:
    const std::size_t maxPayload;
    Bytes buffer;
    std::size_t position = 0;
};

/// The one message of a UDP datagram. Throws `MalformedMessage` when it is none, or
/// InvalidPayloadLength when the header does not tell the length of what follows.
[[nodiscard]] Message decodeDatagram(std::span<const std::uint8_t> datagram);

} // namespace Quarlen::Doip
