#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "platform/Clock.hpp"
#include "uds/BusEvent.hpp"
#include "uds/Timing.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Uds {

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
    /// unit is busy (NRC 0x21) and drops responses to other requests. Empty when the request
    /// suppresses its positive response and no response came within P2. Throws `NoUsableResponse`
    /// when none came in time; `ConnectionLost`, `MessageRefused`, `Cancelled`; `LinkError` for an
    /// empty request.
    Bytes exchange(const Bytes& request, const std::stop_token& cancel);

    class Question;
    /// Sends a request to which any response is good, and does not wait for it: that does the
    /// question, and nobody else has an exchange meanwhile. Throws as `exchange`.
    [[nodiscard]] Question ask(const Bytes& request, const std::stop_token& cancel);

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
    struct EndTurn {
        void operator()(Channel* channel) const noexcept { channel->endTurn(); }
    };
    /// One request at a time: its destructor lets the next one go.
    using Turn = std::unique_ptr<Channel, EndTurn>;

    [[nodiscard]] Turn takeTurn(const std::stop_token& cancel);
    /// Null when somebody else has it, or nobody holds a session.
    [[nodiscard]] Turn turnToKeepSession();
    void endTurn() noexcept;
    void prepare(const std::stop_token& cancel);
    Bytes exchangeInTurn(const Bytes& request, const std::stop_token& cancel);
    bool isAnswered(const std::stop_token& cancel);
    void awaitUnfinished(const std::stop_token& cancel);
    void lookForUnfinished();
    void takeForUnfinished(const std::optional<Bytes>& response);
    void dropArrived(TimePoint now);
    void send(const Bytes& request, const std::stop_token& cancel, BusEvent::Kind kind,
              TimePoint now);
    Bytes finalResponse(const Bytes& request, const std::stop_token& cancel, TimePoint limit);
    std::optional<Bytes> receive(const std::stop_token& cancel, TimePoint deadline);
    std::optional<Bytes> receiveFor(const Bytes& request, const std::stop_token& cancel);
    void pause(std::chrono::milliseconds duration, const std::stop_token& cancel);
    void forgetOldSession();
    void noteOutcome(const Bytes& request, const Bytes& response);
    void noteSession(const Bytes& response);
    void noteLocked(const Bytes& cause, const wchar_t* how);
    [[noreturn]] void giveUp(const Bytes& request, std::chrono::milliseconds window);
    void tell(BusEvent::Kind kind, const Bytes& bytes, std::wstring text = {});

    /// An exchange whose final response is missing and may still come.
    struct Unfinished {
        Bytes request;
        TimePoint until;
        TimePoint limit;
    };

    const UnitAddress address;
    const std::unique_ptr<Endpoint> endpoint;
    Platform::Clock& clock;
    const Timing configured;
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
    Timing timing;
    Session session = Session::Default;
    bool unlocked = false;
    TimePoint lastActivity;
    std::optional<Unfinished> unfinished;
    Bytes unusable;
    /// The last event; it keeps its memory for the next.
    BusEvent told;
};

/// A request that is under way.
class Channel::Question {
public:
    /// True when a response comes within P2. Throws as `exchange`. Only once.
    [[nodiscard]] bool isAnswered(const std::stop_token& cancel) {
        const Turn own = std::move(turn);
        return own->isAnswered(cancel);
    }

private:
    friend class Channel;
    explicit Question(Turn turn) : turn(std::move(turn)) {}

    Turn turn;
};

} // namespace Quarlen::Uds
