#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "doip/MalformedMessage.hpp"
#include "doip/Message.hpp"

namespace Quarlen::KelVehicle {

/// What an entity keeps of the messages that are only half there, of all testers together.
class InboxBudget {
public:
    explicit InboxBudget(std::size_t bytes) : left(bytes) {}
    /// False when there is not so much left.
    [[nodiscard]] bool take(std::size_t bytes) noexcept;
    void giveBack(std::size_t bytes) noexcept { left += bytes; }

private:
    std::size_t left;
};

/// A message that an entity does not take (generic header handler, ISO 13400-2:2019, clause 7.1.3
/// and table 19).
struct HeaderFault {
    Doip::HeaderNackCode code;
    /// The version of the refused header, or one that the entity knows.
    std::uint8_t version;
    /// The tester's type of payload.
    std::uint16_t type;
    std::wstring cause;
    /// Nothing that follows can be read.
    [[nodiscard]] bool endsConnection() const noexcept {
        return code == Doip::HeaderNackCode::IncorrectPattern ||
               code == Doip::HeaderNackCode::InvalidPayloadLength;
    }
};

/// Puts the messages of one tester together and checks their headers before it keeps anything of
/// their payloads: what is refused without an end of the connection is read and dropped, however
/// long it is. Not thread-safe.
class Inbox {
public:
    using Item = std::variant<Doip::Message, HeaderFault>;

    /// `budget` must outlive the inbox.
    explicit Inbox(InboxBudget& budget) : budget(budget) {}
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;
    ~Inbox() { giveBack(); }

    void add(std::span<const std::uint8_t> bytes);
    /// The next message or refusal; nothing when more bytes are needed.
    [[nodiscard]] std::optional<Item> next();

private:
    [[nodiscard]] std::span<const std::uint8_t> rest() const;
    [[nodiscard]] bool readHeader();
    [[nodiscard]] std::optional<HeaderFault> beginPayload();
    [[nodiscard]] std::optional<HeaderFault> refusalOf(const Doip::Header& checked);
    void dropRefused();
    [[nodiscard]] Doip::Message takeMessage();
    void giveBack() noexcept;

    InboxBudget& budget;
    Doip::Bytes arrived;
    std::size_t position = 0;

    Doip::HeaderBytes headerBytes{};
    std::size_t headerCount = 0;
    /// Of the message whose payload comes.
    std::optional<Doip::Header> header;
    Doip::Bytes payload;
    std::size_t taken = 0;
    /// Bytes of a refused payload that are still to come.
    std::uint64_t toDrop = 0;
};

} // namespace Quarlen::KelVehicle
