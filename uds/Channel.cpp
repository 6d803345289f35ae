#include "uds/Channel.hpp"

#include <utility>

namespace Quarlen::Uds {

namespace {

using std::chrono::milliseconds;

/// Before a busy control unit is asked again.
constexpr milliseconds busyPause{50};
constexpr auto defaultSession = static_cast<std::uint8_t>(Session::Default);

const Bytes& quietTesterPresent() {
    static const Bytes request{static_cast<std::uint8_t>(Service::TesterPresent),
                               suppressPositiveResponseBit};
    return request;
}

} // namespace

Channel::Channel(UnitAddress unit, std::unique_ptr<Endpoint> endpoint, Platform::Clock& clock,
                 const Timing& timing, OnBusEvent onEvent)
    : address(std::move(unit)),
      endpoint(std::move(endpoint)),
      clock(clock),
      onEvent(std::move(onEvent)),
      session(timing, clock.now()) {}

Bytes Channel::exchange(const Bytes& request, const std::stop_token& cancel, Silence silence) {
    if (request.empty()) {
        throw LinkError(L"an empty request cannot be sent");
    }
    const Turn turn = takeTurn(cancel);
    prepare(cancel);
    return exchangeInTurn(request, cancel, silence);
}

Channel::Turn Channel::takeTurn(const std::stop_token& cancel) {
    std::unique_lock lock(mutex);
    turnEnded.wait(lock, cancel, [this] { return !turnTaken; });
    if (cancel.stop_requested()) {
        throw Cancelled();
    }
    turnTaken = true;
    return Turn(this);
}

Channel::Turn Channel::turnToKeepSession() {
    const std::lock_guard lock(mutex);
    if (holders == 0 || turnTaken) {
        return nullptr;
    }
    turnTaken = true;
    return Turn(this);
}

void Channel::endTurn() noexcept {
    {
        const std::lock_guard lock(mutex);
        turnTaken = false;
    }
    turnEnded.notify_all();
}

/// What the exchange before has left.
void Channel::prepare(const std::stop_token& cancel) {
    awaitUnfinished(cancel);
    noteLocked({}, session.forgetOld(clock.now()));
    bool leaves = false;
    {
        const std::lock_guard lock(mutex);
        leaves = std::exchange(mustLeave, false);
    }
    if (leaves && !session.isDefault()) {
        exchangeInTurn(
            {static_cast<std::uint8_t>(Service::DiagnosticSessionControl), defaultSession}, cancel);
    }
}

Bytes Channel::exchangeInTurn(const Bytes& request, const std::stop_token& cancel,
                              Silence silence) {
    const auto begin = clock.now();
    const bool silenceIsAnAnswer =
        silence == Silence::IsAnAnswer || suppressesPositiveResponse(request);
    for (;;) {
        dropArrived();
        send(request, cancel, BusEvent::Kind::Request);
        Bytes response =
            finalResponse(request, cancel, begin + session.timing().total, silenceIsAnAnswer);
        if (!isRefusal(response, Nrc::BusyRepeatRequest) ||
            clock.now() + busyPause > begin + session.timing().busy) {
            noteOutcome(request, response);
            return response;
        }
        pause(busyPause, cancel);
    }
}

void Channel::send(const Bytes& request, const std::stop_token& cancel, BusEvent::Kind kind) {
    if (cancel.stop_requested()) {
        throw Cancelled();
    }
    tell(kind, request);
    session.touch(clock.now());
    try {
        endpoint->send(request, {cancel, clock.now() + session.timing().p2});
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

Channel::Question Channel::ask(const Bytes& request, const std::stop_token& cancel) {
    Turn turn = takeTurn(cancel);
    prepare(cancel);
    dropArrived();
    send(request, cancel, BusEvent::Kind::Request);
    const auto now = clock.now();
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
    const Turn turn = turnToKeepSession();
    if (!turn || session.isDefault()) {
        return;
    }
    lookForUnfinished();
    if (!unfinished) {
        dropArrived();
        send(quietTesterPresent(), {}, BusEvent::Kind::KeepAlive);
    }
}

void Channel::leaveSession() {
    const std::lock_guard lock(mutex);
    mustLeave = true;
}

void Channel::settle(const std::stop_token& cancel) {
    const Turn turn = takeTurn(cancel);
    prepare(cancel);
}

std::wstring Channel::reasonOfLock() const {
    const std::lock_guard lock(mutex);
    return lockReason;
}

void Channel::noteOutcome(const Bytes& request, const Bytes& response) {
    noteLocked(request, session.note(request, response));
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

void Channel::tell(BusEvent::Kind kind, const Bytes& bytes, std::wstring text) const {
    onEvent({kind, address, bytes, std::move(text)});
}

} // namespace Quarlen::Uds
