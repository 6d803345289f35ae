#include "uds/Channel.hpp"

#include <utility>

namespace Quarlen::Uds {

namespace {

using std::chrono::milliseconds;

/// Before a busy control unit is asked again.
constexpr milliseconds busyPause{50};
constexpr auto defaultSession = static_cast<std::uint8_t>(Session::Default);

} // namespace

Channel::Channel(UnitAddress unit, std::unique_ptr<Endpoint> endpoint, Platform::Clock& clock,
                 const Timing& timing, OnBusEvent onEvent)
    : address(std::move(unit)),
      endpoint(std::move(endpoint)),
      clock(clock),
      onEvent(std::move(onEvent)),
      session(timing, clock.now()) {}

Bytes Channel::exchange(const Bytes& request, const std::stop_token& cancel,
                        const ExchangeManner& manner) {
    if (request.empty()) {
        throw LinkError(L"an empty request cannot be sent");
    }
    const Turn turn = takeTurn(cancel);
    prepare(cancel);
    return exchangeInTurn(request, cancel, manner);
}

Channel::Turn Channel::takeTurn(const std::stop_token& cancel) {
    std::unique_lock lock(mutex);
    if (turnTaken) {
        ++waiting;
        turnEnded.wait(lock, cancel, [this] { return !turnTaken; });
        --waiting;
    }
    if (cancel.stop_requested()) {
        throw Cancelled();
    }
    turnTaken = true;
    return Turn(this);
}

/// Null when somebody else has it.
Channel::Turn Channel::turnIfFree() {
    const std::lock_guard lock(mutex);
    return std::exchange(turnTaken, true) ? nullptr : Turn(this);
}

void Channel::endTurn() noexcept {
    bool isAwaited = false;
    {
        const std::lock_guard lock(mutex);
        turnTaken = false;
        isAwaited = waiting > 0;
    }
    if (isAwaited) {
        turnEnded.notify_all();
    }
}

/// What the exchange before has left.
void Channel::prepare(const std::stop_token& cancel) {
    awaitUnfinished(cancel);
    noteLocked({}, session.forgetOld(clock.now()));
    if (hasToLeave() && !session.isDefault()) {
        exchangeInTurn(
            {static_cast<std::uint8_t>(Service::DiagnosticSessionControl), defaultSession}, cancel);
    }
    if (session.isDefault()) {
        stayInSession();
    }
}

bool Channel::hasToLeave() const {
    const std::lock_guard lock(mutex);
    return mustLeave;
}

Bytes Channel::exchangeInTurn(const Bytes& request, const std::stop_token& cancel,
                              const ExchangeManner& manner) {
    const auto begin = clock.now();
    for (auto now = begin;; now = clock.now()) {
        dropArrived(now);
        send(request, cancel, BusEvent::Kind::Request, now);
        Bytes response = finalResponse(request, cancel, begin + session.timing().total, manner);
        if (mayBeLate(response)) {
            missed.reset();
            continue;
        }
        if (!isRefusal(response, Nrc::BusyRepeatRequest) ||
            clock.now() + busyPause > begin + session.timing().busy) {
            noteOutcome(request, response);
            if (entersSession(request) && !isNegative(response)) {
                stayInSession();
            }
            return response;
        }
        pause(busyPause, cancel);
    }
}

void Channel::send(const Bytes& request, const std::stop_token& cancel, BusEvent::Kind kind,
                   TimePoint now) {
    if (cancel.stop_requested()) {
        throw Cancelled();
    }
    tell(kind, request);
    try {
        endpoint->send(request, {cancel, now + session.timing().p2});
        session.touch(now);
    } catch (const LinkError& error) {
        tell(BusEvent::Kind::Lost, request, error.message());
        throw;
    }
}

void Channel::pause(milliseconds duration, const std::stop_token& cancel) {
    std::unique_lock lock(mutex);
    clock.waitUntil({lock, turnEnded, cancel, clock.now() + duration}, [] { return false; });
    if (cancel.stop_requested()) {
        throw Cancelled();
    }
}

Channel::Turn Channel::turnIfIdle() {
    Turn turn = turnIfFree();
    if (!turn) {
        return nullptr;
    }
    lookForUnfinished();
    return unfinished ? nullptr : std::move(turn);
}

Channel::Question Channel::ask(Turn turn, const Bytes& request, const std::stop_token& cancel) {
    lookForUnfinished();
    if (unfinished && unfinished->hasAskedForTime) {
        return Question(nullptr);
    }
    prepare(cancel);
    const auto now = clock.now();
    dropArrived(now);
    send(request, cancel, BusEvent::Kind::Request, now);
    unfinished = Unfinished{request, now + session.timing().p2, now + session.timing().total};
    return Question(std::move(turn));
}

void Channel::holdSession() {
    const std::lock_guard lock(mutex);
    ++holders;
}

void Channel::releaseSession() noexcept {
    const std::lock_guard lock(mutex);
    --holders;
}

bool Channel::isHeld() const {
    const std::lock_guard lock(mutex);
    return holders > 0;
}

void Channel::keepSession() {
    const Turn turn = isHeld() ? turnIfFree() : nullptr;
    if (!turn) {
        return;
    }
    lookForUnfinished();
    noteLocked({}, session.forgetOld(clock.now()));
    if (!unfinished && !session.isDefault() && !hasToLeave()) {
        const auto now = clock.now();
        dropArrived(now);
        send(quietTesterPresent(), {}, BusEvent::Kind::KeepAlive, now);
    }
}

void Channel::leaveSession() {
    const std::lock_guard lock(mutex);
    mustLeave = true;
}

void Channel::settle(const std::stop_token& cancel) {
    const Turn turn = takeTurn(cancel);
    prepare(cancel);
    if (hasToLeave()) {
        throw NoUsableResponse(L"the control unit does not leave its session");
    }
}

std::wstring Channel::reasonOfLock() const {
    const std::lock_guard lock(mutex);
    return lockReason;
}

void Channel::noteOutcome(const Bytes& request, const Bytes& response) {
    noteLocked(request, session.note(request, response));
}

/// Somebody has a new session, which the wish to leave the former one does not mean.
void Channel::stayInSession() {
    const std::lock_guard lock(mutex);
    mustLeave = false;
}

void Channel::noteLocked(const Bytes& cause, const std::wstring& how) {
    {
        const std::lock_guard lock(mutex);
        if (session.isUnlocked()) {
            lockReason.clear();
        } else if (!how.empty()) {
            lockReason = how;
        }
    }
    if (!how.empty()) {
        tell(BusEvent::Kind::Locked, cause, how);
    }
}

void Channel::tell(BusEvent::Kind kind, const Bytes& bytes, const std::wstring& text) const {
    onEvent({kind, address, bytes, text});
}

} // namespace Quarlen::Uds
