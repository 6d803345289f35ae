#include "uds/Channel.hpp"

#include <algorithm>
#include <utility>

#include "uds/Matching.hpp"

namespace Quarlen::Uds {

namespace {

using std::chrono::milliseconds;

/// Before a busy control unit is asked again.
constexpr milliseconds busyPause{50};
/// Of responses to nobody's question that are dropped before a request. A vehicle that floods does
/// not keep the tester from its work.
constexpr int maxDropped = 4096;
constexpr auto defaultSession = static_cast<std::uint8_t>(Session::Default);

bool isRefusal(const Bytes& response, Nrc nrc) {
    return isNegative(response) && response[2] == static_cast<std::uint8_t>(nrc);
}

bool isRequestFor(const Bytes& request, Service service) {
    return request.size() >= 2 && request[0] == static_cast<std::uint8_t>(service);
}

const Bytes& quietTesterPresent() {
    static const Bytes request{static_cast<std::uint8_t>(Service::TesterPresent),
                               suppressPositiveResponseBit};
    return request;
}

std::wstring headOf(const Bytes& bytes) {
    constexpr std::size_t shown = 16;
    const auto size = static_cast<std::ptrdiff_t>(std::min(shown, bytes.size()));
    return hexText({bytes.begin(), bytes.begin() + size}) + (bytes.size() > shown ? L" ..." : L"");
}

} // namespace

Channel::Channel(UnitAddress unit, std::unique_ptr<Endpoint> endpoint, Platform::Clock& clock,
                 const Timing& timing, OnBusEvent onEvent)
    : address(std::move(unit)),
      endpoint(std::move(endpoint)),
      clock(clock),
      configured(timing),
      onEvent(std::move(onEvent)),
      timing(timing),
      lastActivity(clock.now()),
      told{BusEvent::Kind::Request, address, {}} {}

Bytes Channel::exchange(const Bytes& request, const std::stop_token& cancel) {
    if (request.empty()) {
        throw LinkError(L"an empty request cannot be sent");
    }
    const Turn turn = takeTurn(cancel);
    prepare(cancel);
    return exchangeInTurn(request, cancel);
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

Channel::Turn Channel::turnToKeepSession() {
    const std::lock_guard lock(mutex);
    if (holders == 0 || turnTaken) {
        return nullptr;
    }
    turnTaken = true;
    return Turn(this);
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
    forgetOldSession();
    bool leaves = false;
    {
        const std::lock_guard lock(mutex);
        leaves = std::exchange(mustLeave, false);
    }
    if (leaves && session != Session::Default) {
        exchangeInTurn(
            {static_cast<std::uint8_t>(Service::DiagnosticSessionControl), defaultSession}, cancel);
    }
}

Bytes Channel::exchangeInTurn(const Bytes& request, const std::stop_token& cancel) {
    const auto begin = clock.now();
    for (auto now = begin;; now = clock.now()) {
        dropArrived(now);
        send(request, cancel, BusEvent::Kind::Request, now);
        Bytes response = finalResponse(request, cancel, begin + timing.total);
        if (!isRefusal(response, Nrc::BusyRepeatRequest) ||
            clock.now() + busyPause > begin + timing.busy) {
            noteOutcome(request, response);
            return response;
        }
        pause(busyPause, cancel);
    }
}

/// A response that comes late is not taken for the response to the next request, and a control unit
/// that is still at work is not disturbed.
void Channel::awaitUnfinished(const std::stop_token& cancel) {
    while (unfinished) {
        takeForUnfinished(receive(cancel, std::min(unfinished->until, unfinished->limit)));
    }
}

/// The same without a wait.
void Channel::lookForUnfinished() {
    while (unfinished) {
        const auto now = clock.now();
        const auto response = receive({}, now);
        if (!response && now < unfinished->until && now < unfinished->limit) {
            return;
        }
        takeForUnfinished(response);
    }
}

/// Nothing: it has not come in its time.
void Channel::takeForUnfinished(const std::optional<Bytes>& response) {
    if (!response || clock.now() >= unfinished->limit) {
        unfinished.reset();
    } else if (matches(unfinished->request, *response)) {
        if (isRefusal(*response, Nrc::ResponsePending)) {
            unfinished->until = clock.now() + timing.p2Star;
        } else {
            noteOutcome(std::exchange(unfinished, std::nullopt)->request, *response);
        }
    }
}

void Channel::dropArrived(TimePoint now) {
    for (int dropped = 0; dropped < maxDropped && receive({}, now); ++dropped) {
    }
}

void Channel::send(const Bytes& request, const std::stop_token& cancel, BusEvent::Kind kind,
                   TimePoint now) {
    if (cancel.stop_requested()) {
        throw Cancelled();
    }
    tell(kind, request);
    lastActivity = now;
    try {
        endpoint->send(request, {cancel, now + timing.p2});
    } catch (const LinkError& error) {
        tell(BusEvent::Kind::Lost, request, error.message());
        throw;
    }
}

Bytes Channel::finalResponse(const Bytes& request, const std::stop_token& cancel, TimePoint limit) {
    // After response pending the control unit always sends a final response (clause 8.2.2).
    bool silenceIsAnAnswer = suppressesPositiveResponse(request);
    milliseconds window = timing.p2;
    unusable.clear();
    unfinished = Unfinished{{}, clock.now() + window, limit};
    for (;;) {
        auto response = receiveFor(request, cancel);
        if (!response && silenceIsAnAnswer) {
            unfinished.reset();
            return {};
        }
        if (!response) {
            giveUp(request, window);
        }
        if (!matches(request, *response)) {
            unusable = isOfService(request, *response) ? *response : unusable;
        } else if (isRefusal(*response, Nrc::ResponsePending)) {
            silenceIsAnAnswer = false;
            window = timing.p2Star;
            unfinished->until = clock.now() + window;
        } else {
            unfinished.reset();
            return std::move(*response);
        }
    }
}

/// The request is only copied for an exchange that ends before its time.
std::optional<Bytes> Channel::receiveFor(const Bytes& request, const std::stop_token& cancel) {
    try {
        return receive(cancel, std::min(unfinished->until, unfinished->limit));
    } catch (...) {
        unfinished->request = request;
        throw;
    }
}

std::optional<Bytes> Channel::receive(const std::stop_token& cancel, TimePoint deadline) {
    auto received = endpoint->receive({cancel, deadline});
    if (!received) {
        return {};
    }
    lastActivity = clock.now();
    tell(BusEvent::Kind::Response, received->bytes);
    return std::move(received->bytes);
}

void Channel::giveUp(const Bytes& request, milliseconds window) {
    const milliseconds waited = clock.now() >= unfinished->limit ? timing.total : window;
    unfinished.reset();
    tell(BusEvent::Kind::Silence, request);
    const std::wstring service = serviceText(request[0]);
    throw NoUsableResponse(unusable.empty()
                               ? L"no response to " + service + L" within " +
                                     std::to_wstring(waited.count()) + L" ms"
                               : L"unusable response to " + service + L": " + headOf(unusable));
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
    const auto now = clock.now();
    dropArrived(now);
    send(request, cancel, BusEvent::Kind::Request, now);
    unfinished = Unfinished{request, now + timing.p2, now + timing.total};
    return Question(std::move(turn));
}

bool Channel::isAnswered(const std::stop_token& cancel) {
    const Bytes request = unfinished->request;
    while (const auto response = receive(cancel, unfinished->until)) {
        if (matches(request, *response)) {
            takeForUnfinished(response);
            return true;
        }
    }
    unfinished.reset();
    tell(BusEvent::Kind::Silence, request);
    return false;
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
    if (!turn || session == Session::Default) {
        return;
    }
    lookForUnfinished();
    if (!unfinished) {
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
}

std::wstring Channel::reasonOfLock() const {
    const std::lock_guard lock(mutex);
    return lockReason;
}

/// A session that nobody has kept has run out by itself.
void Channel::forgetOldSession() {
    if (session != Session::Default && clock.now() - lastActivity > timing.session) {
        noteLocked({}, L"its session ran out");
        session = Session::Default;
        timing = configured;
    }
}

void Channel::noteOutcome(const Bytes& request, const Bytes& response) {
    if (isNegative(response)) {
        return;
    }
    if (isRequestFor(request, Service::DiagnosticSessionControl)) {
        noteLocked(request, L"another session was entered");
        noteSession(response);
    } else if (isRequestFor(request, Service::EcuReset)) {
        noteLocked(request, L"it was reset");
        session = Session::Default;
        timing = configured;
    } else if (isRequestFor(request, Service::SecurityAccess)) {
        // The key was accepted, or there is nothing to unlock and the seed is zero.
        const bool isOpen =
            request[1] % 2 == 0 ||
            (response.size() > 2 && std::all_of(response.begin() + 2, response.end(),
                                                [](auto byte) { return byte == 0; }));
        const std::lock_guard lock(mutex);
        unlocked = unlocked || isOpen;
        lockReason = isOpen ? std::wstring() : lockReason;
    }
}

/// P2server in milliseconds and P2*server in units of ten milliseconds stand in the response
/// (clause 10.2.3).
void Channel::noteSession(const Bytes& response) {
    constexpr std::size_t size = 6;
    timing = configured;
    session = response.size() > 1 ? static_cast<Session>(response[1]) : Session::Default;
    if (response.size() >= size && session != Session::Default) {
        timing.p2 = milliseconds{numberAt(response, 2, 2)} + configured.delta;
        timing.p2Star = 10 * milliseconds{numberAt(response, 4, 2)} + configured.delta;
    }
}

void Channel::noteLocked(const Bytes& cause, const wchar_t* how) {
    if (!std::exchange(unlocked, false)) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        lockReason = how;
    }
    tell(BusEvent::Kind::Locked, cause, how);
}

void Channel::tell(BusEvent::Kind kind, const Bytes& bytes, std::wstring text) {
    told.kind = kind;
    told.bytes = bytes;
    told.text = std::move(text);
    onEvent(told);
}

} // namespace Quarlen::Uds
