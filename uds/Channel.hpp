#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "platform/Clock.hpp"
#include "uds/BusEvent.hpp"
#include "uds/Timing.hpp"
#include "uds/UnitSession.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Uds {

/// What it means when no response comes within P2.
enum class Silence {
    /// A failure, unless the request suppresses its positive response.
    IsJudged,
    IsAnAnswer
};

struct ExchangeManner {
    Silence silence = Silence::IsJudged;
    /// Told of each response pending, on the thread of the exchange; may be empty.
    std::function<void()> onPending{};
};

/// What belongs to one control unit, whoever talks to it: one request at a time, the response to
/// each, late responses, the session and its times. All links to the control unit share it. Safe
/// from any thread; it starts none, each wait runs on the thread of the caller.
class Channel {
public:
    /// `clock` must outlive the channel; `onEvent` must not be empty.
    Channel(UnitAddress unit, std::unique_ptr<Endpoint> endpoint, Platform::Clock& clock,
            const Timing& timing, OnBusEvent onEvent);

    [[nodiscard]] const UnitAddress& unit() const noexcept { return address; }

    /// Sends the request once nobody else has an exchange, and returns its final response, positive
    /// or negative: it waits out response pending (NRC 0x78), repeats the request while the control
    /// unit is busy (NRC 0x21) and drops responses to other requests. Empty when silence is an
    /// answer and no response came within P2. Throws `NoUsableResponse` when none came in time;
    /// `ConnectionLost`, `MessageRefused`, `Cancelled`; `LinkError` for an empty request; what
    /// `manner.onPending` throws.
    Bytes exchange(const Bytes& request, const std::stop_token& cancel,
                   const ExchangeManner& manner = {});

    struct EndTurn {
        void operator()(Channel* channel) const noexcept { channel->endTurn(); }
    };
    /// One request at a time: its destructor lets the next one go. Must not outlive the channel.
    using Turn = std::unique_ptr<Channel, EndTurn>;
    /// Waits until nobody has an exchange, and keeps everybody from one. Throws `Cancelled`.
    [[nodiscard]] Turn takeTurn(const std::stop_token& cancel);
    /// The same without a wait: null when somebody has an exchange or the last one is not over yet.
    [[nodiscard]] Turn turnIfIdle();

    class Question;
    /// Sends a request to which any response is good, and does not wait for it: that does the
    /// question, and nobody else has an exchange meanwhile. A control unit that has asked for time
    /// and is still at work is not asked: it is there. Throws as `exchange`.
    [[nodiscard]] Question ask(Turn turn, const Bytes& request, const std::stop_token& cancel);

    /// While anybody holds it, `keepSession` keeps a session that is not the default one.
    void holdSession();
    void releaseSession() noexcept;
    [[nodiscard]] bool isHeld() const;
    /// Sends TesterPresent when a session is held and no exchange is under way, which keeps it by
    /// itself. Throws `LinkError`.
    void keepSession();

    /// Before anything else is sent, the control unit is brought back to the default session, as
    /// soon as it has ended what it is doing. Returns at once.
    void leaveSession();
    /// Does what `leaveSession` has asked for. Throws as `exchange`.
    void settle(const std::stop_token& cancel);

    /// Why the control unit has locked again what was unlocked, in words; empty when it has not.
    [[nodiscard]] std::wstring reasonOfLock() const;

private:
    using TimePoint = Platform::Clock::TimePoint;
    [[nodiscard]] Turn turnIfFree();
    void endTurn() noexcept;
    void prepare(const std::stop_token& cancel);
    Bytes exchangeInTurn(const Bytes& request, const std::stop_token& cancel,
                         const ExchangeManner& manner = {});
    bool isAnswered(const std::stop_token& cancel);
    void awaitUnfinished(const std::stop_token& cancel);
    void lookForUnfinished();
    void takeForUnfinished(const std::optional<Bytes>& response);
    void dropArrived(TimePoint now);
    bool dropOne(TimePoint now);
    void send(const Bytes& request, const std::stop_token& cancel, BusEvent::Kind kind,
              TimePoint now);
    Bytes finalResponse(const Bytes& request, const std::stop_token& cancel, TimePoint limit,
                        const ExchangeManner& manner);
    std::optional<Bytes> receive(const std::stop_token& cancel, TimePoint deadline);
    std::optional<Bytes> receiveFor(const Bytes& request, const std::stop_token& cancel);
    std::optional<Bytes> receiveLate(const std::stop_token& cancel, TimePoint deadline);
    [[nodiscard]] bool mayBeLate(const Bytes& response) const;
    [[nodiscard]] bool hasToLeave() const;
    void stayInSession();
    void pause(std::chrono::milliseconds duration, const std::stop_token& cancel);
    void noteOutcome(const Bytes& request, const Bytes& response);
    void noteSilence(const Bytes& request);
    /// `how` is empty when nothing was locked.
    void noteLocked(const Bytes& cause, const std::wstring& how);
    void noteUnusable(const Bytes& request, const Bytes& response);
    std::chrono::milliseconds takePending(const Bytes& request, const ExchangeManner& manner);
    [[noreturn]] void giveUp(const Bytes& request, std::chrono::milliseconds window);
    void tell(BusEvent::Kind kind, const Bytes& bytes, const std::wstring& text = noBusText) const;

    /// A request without a response in its time, whose response may still come.
    struct Missed {
        std::uint8_t service;
        TimePoint until;
    };

    /// An exchange whose final response is missing and may still come.
    struct Unfinished {
        Bytes request;
        TimePoint until;
        TimePoint limit;
        bool hasAskedForTime = false;
    };

    const UnitAddress address;
    const std::unique_ptr<Endpoint> endpoint;
    Platform::Clock& clock;
    const OnBusEvent onEvent;

    /// For the turn, the holders and what is asked from outside a turn.
    mutable std::mutex mutex;
    std::condition_variable_any turnEnded;
    bool turnTaken = false;
    std::size_t waiting = 0;
    std::size_t holders = 0;
    bool mustLeave = false;
    std::wstring lockReason;

    // Only the owner of the turn uses what follows.
    UnitSession session;
    std::optional<Unfinished> unfinished;
    std::optional<Missed> missed;
    Bytes unusable;
};

/// A request that is under way.
class Channel::Question {
public:
    /// True when a response comes within P2. Throws as `exchange`. Only once.
    [[nodiscard]] bool isAnswered(const std::stop_token& cancel) {
        const Turn own = std::move(turn);
        return !own || own->isAnswered(cancel);
    }

private:
    friend class Channel;
    explicit Question(Turn turn) : turn(std::move(turn)) {}

    /// Null when the answer is known.
    Turn turn;
};

} // namespace Quarlen::Uds
