#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "doip/Payloads.hpp"
#include "platform/Clock.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Doip {

/// What has arrived for one end of a connection, and which of its messages the vehicle has not
/// acknowledged yet. Its owner guards it with the connection's mutex.
class Inbox {
public:
    using TimePoint = Platform::Clock::TimePoint;

    /// Of one control unit, or of all that listen to a functional address.
    enum class Answers { FromOne, FromAll };

    Inbox(std::uint16_t address, Answers answers) : address(address), answers(answers) {}

    /// The message is on its way, and everything in it that an answer repeats is kept.
    void noteSent(const Bytes& message, TimePoint now);
    /// All of the message that was sent last is out: its acknowledgement can be expected from now.
    void noteOut(TimePoint now) noexcept;
    /// The message that was sent last does not go out.
    void noteUnsent() noexcept;
    /// The vehicle has taken the oldest message that it had not acknowledged.
    void noteTaken() noexcept;
    /// The vehicle has not passed that message on.
    void noteRefused(std::uint8_t code);
    /// Keeps the newest `maxWaiting` messages and at most `maxWaitingBytes` of them; false when an
    /// older one had to go.
    bool add(std::uint16_t source, const Bytes& data, TimePoint now);

    /// The next message that had come at `deadline`; nothing when there is none.
    [[nodiscard]] std::optional<Uds::Received> take(TimePoint deadline);
    /// The code of a refusal that nobody has been told of; only once.
    [[nodiscard]] std::optional<std::uint8_t> takeRefusal() noexcept;
    [[nodiscard]] bool hasSomething() const noexcept { return !arrived.empty() || refusal; }
    /// When the oldest message that has not been acknowledged was sent.
    [[nodiscard]] std::optional<TimePoint> oldestUntaken() const;
    /// True for a response to the message that was sent last.
    [[nodiscard]] bool awaits(const Bytes& data) const noexcept;
    /// True once for each deadline that has passed: what has come by then is read, what comes while
    /// it is read is not.
    bool looksOnceAt(TimePoint deadline) noexcept {
        return std::exchange(lookedAt, deadline) != deadline;
    }
    /// Nobody waits for that response any more.
    void forgetQuestion() noexcept { question.clear(); }

    [[nodiscard]] bool isOfOne() const noexcept { return answers == Answers::FromOne; }

    /// For the one thread that waits in this end.
    std::condition_variable_any changed;
    const std::uint16_t address;

private:
    struct Arrived {
        TimePoint at;
        Uds::Received message;
    };
    void dropOldest();

    std::deque<Arrived> arrived;
    std::size_t arrivedBytes = 0;
    std::deque<TimePoint> untaken;
    std::optional<std::uint8_t> refusal;
    const Answers answers;
    /// Empty once its final response has come, and where none is awaited.
    Bytes question;
    bool isAwaited = false;
    std::optional<TimePoint> lookedAt;

    friend class Inboxes;
};

/// The inboxes of one connection, and which of them a message belongs to: its sender is all that a
/// message tells. Its owner guards it with the connection's mutex.
class Inboxes {
public:
    using TimePoint = Inbox::TimePoint;

    /// The inbox ends with the last reference to it.
    std::shared_ptr<Inbox> open(std::uint16_t address, Inbox::Answers answers);

    /// One whose messages only keep the connection: it gets no answers.
    std::shared_ptr<Inbox> openKeeper(std::uint16_t address);

    /// Somebody waits in the end for what another thread reads.
    void await(Inbox& inbox) noexcept;
    /// What it waited for is there, or it waits no more.
    void endWait(Inbox& inbox) noexcept;
    [[nodiscard]] bool isAwaited() const noexcept { return awaited > 0; }

    /// Where a message from that control unit goes: to the end that has asked for it, to the one of
    /// a functional request that it answers, or else to the end of its sender. Null when there is
    /// no such end.
    [[nodiscard]] std::shared_ptr<Inbox> receiverOf(std::uint16_t source, const Bytes& data);
    /// Of the ends whose messages go to that address, the one that has waited longest for an
    /// acknowledgement; null when none of them waits.
    [[nodiscard]] std::shared_ptr<Inbox> longestUntakenAt(std::uint16_t address);

    /// The end that has waited longest for an acknowledgement; null when nobody does.
    [[nodiscard]] std::shared_ptr<Inbox> longestUntaken();
    void wakeAll() noexcept;

private:
    using List = std::vector<std::weak_ptr<Inbox>>;
    static std::shared_ptr<Inbox> find(List& list, std::uint16_t address);
    std::shared_ptr<Inbox> openIn(List& list, std::uint16_t address, Inbox::Answers answers);
    /// `isMeant` chooses among all ends.
    template <class IsMeant>
    std::shared_ptr<Inbox> longestUntakenOf(IsMeant isMeant);

    List physical;
    List functional;
    List keepers;
    std::size_t awaited = 0;
};

} // namespace Quarlen::Doip
