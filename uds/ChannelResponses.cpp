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

} // namespace

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
            unfinished->until = clock.now() + session.timing().p2Star;
        } else {
            noteOutcome(std::exchange(unfinished, std::nullopt)->request, *response);
        }
    }
}

void Channel::dropArrived() {
    for (int dropped = 0; dropped < maxDropped && receive({}, clock.now()); ++dropped) {
    }
}

Bytes Channel::finalResponse(const Bytes& request, const std::stop_token& cancel, TimePoint limit,
                             bool silenceIsAnAnswer) {
    milliseconds window = session.timing().p2;
    unusable.clear();
    unfinished = Unfinished{request, clock.now() + window, limit};
    for (;;) {
        auto response = receive(cancel, std::min(unfinished->until, limit));
        if (!response) {
            unfinished.reset();
            if (silenceIsAnAnswer) {
                return {};
            }
            giveUp(request, clock.now() >= limit ? session.timing().total : window);
        }
        if (!matches(request, *response)) {
            noteUnusable(request, *response);
        } else if (isRefusal(*response, Nrc::ResponsePending)) {
            // A final response always comes then (clause 8.2.2).
            silenceIsAnAnswer = false;
            window = session.timing().p2Star;
            unfinished->until = clock.now() + window;
        } else {
            unfinished.reset();
            return std::move(*response);
        }
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

void Channel::giveUp(const Bytes& request, milliseconds waited) {
    tell(BusEvent::Kind::Silence, request);
    const std::wstring service = serviceText(request[0]);
    throw NoUsableResponse(unusable.empty()
                               ? L"no response to " + service + L" within " +
                                     std::to_wstring(waited.count()) + L" ms"
                               : L"unusable response to " + service + L": " + headOf(unusable));
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

} // namespace Quarlen::Uds
