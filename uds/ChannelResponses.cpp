#include <algorithm>
#include <utility>

#include "uds/Channel.hpp"
#include "uds/Matching.hpp"

// What a channel makes of the responses: which of them it waits for, and which it drops.

namespace Quarlen::Uds {

namespace {

using std::chrono::milliseconds;

/// Of responses to nobody's question that are dropped before a request. A vehicle that floods does
/// not keep the tester from its work.
constexpr int maxDropped = 4096;

std::wstring headOf(const Bytes& bytes) {
    constexpr std::size_t shown = 16;
    const auto size = static_cast<std::ptrdiff_t>(std::min(shown, bytes.size()));
    return hexText({bytes.begin(), bytes.begin() + size}) + (bytes.size() > shown ? L" ..." : L"");
}

bool onlyReads(std::uint8_t service) {
    switch (static_cast<Service>(service)) {
    case Service::ReadDtcInformation:
    case Service::ReadDataByIdentifier:
    case Service::ReadMemoryByAddress:
    case Service::ReadScalingDataByIdentifier:
        return true;
    default:
        return false;
    }
}

} // namespace

/// A response that comes late is not taken for the response to the next request, and a control unit
/// that is still at work is not disturbed.
void Channel::awaitUnfinished(const std::stop_token& cancel) {
    while (unfinished) {
        takeForUnfinished(receiveLate(cancel, std::min(unfinished->until, unfinished->limit)));
    }
}

/// The same without a wait.
void Channel::lookForUnfinished() {
    for (int looked = 0; unfinished && looked < maxDropped; ++looked) {
        const auto now = clock.now();
        const auto response = receiveLate({}, now);
        if (!response && now < unfinished->until && now < unfinished->limit) {
            return;
        }
        takeForUnfinished(response);
    }
}

/// Nothing: it has not come in its time.
void Channel::takeForUnfinished(const std::optional<Bytes>& response) {
    if (!response || clock.now() >= unfinished->limit) {
        noteSilence(std::exchange(unfinished, std::nullopt)->request);
    } else if (matches(unfinished->request, *response)) {
        if (isRefusal(*response, Nrc::ResponsePending)) {
            unfinished->until = clock.now() + session.timing().p2Star;
            unfinished->hasAskedForTime = true;
        } else {
            noteOutcome(std::exchange(unfinished, std::nullopt)->request, *response);
        }
    }
}

/// Nothing also where the vehicle says that it has not passed on a message of before.
std::optional<Bytes> Channel::receiveLate(const std::stop_token& cancel, TimePoint deadline) {
    try {
        return receive(cancel, deadline);
    } catch (const MessageRefused&) {
        return {};
    }
}

void Channel::dropArrived(TimePoint now) {
    for (int dropped = 0; dropped < maxDropped && dropOne(now); ++dropped) {
    }
}

/// False when nothing is left. What the vehicle has not passed on is something, too.
bool Channel::dropOne(TimePoint now) {
    try {
        return receive({}, now).has_value();
    } catch (const MessageRefused&) {
        return true;
    }
}

/// A request for a session without a response may have been heard: the session then is there and
/// has to be left.
void Channel::noteSilence(const Bytes& request) {
    if (entersSession(request) || suppressesPositiveResponse(request)) {
        noteOutcome(request, {});
    }
}

/// A refusal says which service is refused and not which request: after a request that got no
/// response, it may be the response to that one. What only reads is then asked again.
bool Channel::mayBeLate(const Bytes& response) const {
    return missed && isNegative(response) && response[1] == missed->service &&
           onlyReads(missed->service) && clock.now() < missed->until;
}

Bytes Channel::finalResponse(const Bytes& request, const std::stop_token& cancel, TimePoint limit,
                             const ExchangeManner& manner) {
    // After response pending the control unit always sends a final response (clause 8.2.2).
    bool silenceIsAnAnswer =
        manner.silence == Silence::IsAnAnswer || suppressesPositiveResponse(request);
    milliseconds window = session.timing().p2;
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
            noteUnusable(request, *response);
        } else if (isRefusal(*response, Nrc::ResponsePending)) {
            silenceIsAnAnswer = false;
            window = takePending(request, manner);
        } else {
            unfinished.reset();
            return std::move(*response);
        }
    }
}

/// Returns for how long the control unit may be silent now.
milliseconds Channel::takePending(const Bytes& request, const ExchangeManner& manner) {
    const milliseconds window = session.timing().p2Star;
    unfinished->until = clock.now() + window;
    unfinished->hasAskedForTime = true;
    if (manner.onPending) {
        // It may end the exchange, whose response then still comes.
        unfinished->request = request;
        manner.onPending();
    }
    return window;
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
    session.touch(clock.now());
    tell(BusEvent::Kind::Response, received->bytes);
    return std::move(received->bytes);
}

void Channel::noteUnusable(const Bytes& request, const Bytes& response) {
    if (isOfService(request, response)) {
        unusable = response;
    }
}

void Channel::giveUp(const Bytes& request, milliseconds window) {
    const milliseconds waited = clock.now() >= unfinished->limit ? session.timing().total : window;
    const bool hasAnswered = unfinished->hasAskedForTime || !unusable.empty();
    unfinished.reset();
    tell(BusEvent::Kind::Silence, request);
    missed = Missed{request[0], clock.now() + session.timing().p2Star};
    noteSilence(request);
    const std::wstring service = serviceText(request[0]);
    throw NoUsableResponse(unusable.empty()
                               ? L"no response to " + service + L" within " +
                                     std::to_wstring(waited.count()) + L" ms"
                               : L"unusable response to " + service + L": " + headOf(unusable),
                           hasAnswered);
}

bool Channel::isAnswered(const std::stop_token& cancel) {
    const Bytes request = unfinished->request;
    while (const auto response = receiveLate(cancel, unfinished->until)) {
        if (matches(request, *response)) {
            takeForUnfinished(response);
            return true;
        }
    }
    unfinished.reset();
    tell(BusEvent::Kind::Silence, request);
    return false;
}

} // namespace Quarlen::Uds
