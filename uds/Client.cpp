#include "uds/Client.hpp"

#include <algorithm>
#include <utility>

#include "uds/SeedKey.hpp"

namespace Quarlen::Uds {

namespace {

using std::chrono::milliseconds;

/// The longest wait between two checks of the cancel request.
constexpr milliseconds slice{20};
constexpr milliseconds busyPause{20};
constexpr int maxBusyRepeats = 3;
constexpr int maxLateResponses = 256;

bool isRefusal(const Bytes& response, Nrc nrc) {
    return isNegative(response) && response[2] == static_cast<std::uint8_t>(nrc);
}

bool answers(const Bytes& response, std::uint8_t service) {
    if (isNegative(response)) {
        return response[1] == service;
    }
    return !response.empty() &&
           response[0] == static_cast<std::uint8_t>(service + positiveResponseOffset);
}

NoUsableResponse noResponse(const Bytes& request, milliseconds waited) {
    return NoUsableResponse(L"no response to " + serviceText(request[0]) + L" within " +
                            std::to_wstring(waited.count()) + L" ms");
}

NoUsableResponse unusable(const Bytes& request, const Bytes& response) {
    constexpr std::size_t shown = 16;
    const Bytes head(response.begin(), response.begin() + static_cast<std::ptrdiff_t>(
                                                              std::min(shown, response.size())));
    return NoUsableResponse(L"unusable response to " + serviceText(request[0]) + L": " +
                            hexText(head) + (response.size() > shown ? L" ..." : L""));
}

} // namespace

NegativeResponse::NegativeResponse(std::uint8_t service, std::uint8_t code)
    : std::runtime_error("NegativeResponse"), serviceId(service), code(code) {}

std::wstring NegativeResponse::message() const {
    return serviceText(serviceId) + L" refused: " + nrcText(code);
}

Client::Client(VehicleLink& link, std::stop_token cancel, Platform::Clock& clock, Timing timing)
    : link(link), cancel(std::move(cancel)), clock(clock), timing(timing) {}

Bytes Client::exchange(const Bytes& request) {
    if (request.empty()) {
        throw LinkError(L"an empty request cannot be sent");
    }
    const auto limit = clock.now() + timing.total;
    for (int repeat = 0;; ++repeat) {
        sendFresh(request);
        auto response = finalResponse(request, limit);
        if (!isRefusal(response, Nrc::BusyRepeatRequest) || repeat == maxBusyRepeats) {
            return response;
        }
        clock.sleepFor(busyPause);
    }
}

Bytes Client::request(const Bytes& request) {
    auto response = exchange(request);
    if (isNegative(response)) {
        throw NegativeResponse(response[1], response[2]);
    }
    return response;
}

void Client::unlock(std::uint8_t level, std::uint32_t keyMask) {
    const auto service = static_cast<std::uint8_t>(Service::SecurityAccess);
    const Bytes seedRequest{service, level};
    const auto response = request(seedRequest);
    if (response.size() < 3 || response[1] != level) {
        throw unusable(seedRequest, response);
    }
    const Bytes seed(response.begin() + 2, response.end());
    if (std::all_of(seed.begin(), seed.end(), [](auto byte) { return byte == 0; })) {
        return;
    }
    Bytes keyRequest = keyForSeed(seed, keyMask);
    keyRequest.insert(keyRequest.begin(), {service, static_cast<std::uint8_t>(level + 1)});
    request(keyRequest);
}

Bytes Client::readData(std::uint16_t dataIdentifier) {
    Bytes readRequest{static_cast<std::uint8_t>(Service::ReadDataByIdentifier)};
    appendNumber(readRequest, dataIdentifier, 2);
    auto response = request(readRequest);
    if (response.size() < 3 || numberAt(response, 1, 2) != dataIdentifier) {
        throw unusable(readRequest, response);
    }
    response.erase(response.begin(), response.begin() + 3);
    return response;
}

/// Drops the late responses of an unfinished exchange before the request is sent, so that none of
/// them is taken for the response to this request.
void Client::sendFresh(const Bytes& request) {
    throwIfCancelled();
    for (int dropped = 0; lateResponsePossible && dropped < maxLateResponses; ++dropped) {
        lateResponsePossible = link.receive(milliseconds{0}).has_value();
    }
    link.send(request);
}

Bytes Client::finalResponse(const Bytes& request, Platform::Clock::TimePoint limit) {
    lateResponsePossible = true;
    // After response pending the control unit always sends a final response (clause 8.2.2).
    bool silenceIsAnAnswer = suppressesPositiveResponse(request);
    auto window = timing.p2;
    for (;;) {
        const auto now = clock.now();
        if (now >= limit) {
            throw noResponse(request, timing.total);
        }
        auto response = nextResponse(request[0], std::min(now + window, limit));
        if (!response) {
            if (silenceIsAnAnswer) {
                return {};
            }
            throw noResponse(request, clock.now() >= limit ? timing.total : window);
        }
        if (!isRefusal(*response, Nrc::ResponsePending)) {
            lateResponsePossible = false;
            return std::move(*response);
        }
        silenceIsAnAnswer = false;
        window = timing.p2Star;
    }
}

/// Returns the next response to the service and drops other responses; empty at the deadline.
std::optional<Bytes> Client::nextResponse(std::uint8_t service,
                                          Platform::Clock::TimePoint deadline) {
    for (auto now = clock.now(); now < deadline; now = clock.now()) {
        throwIfCancelled();
        const auto rest = std::chrono::ceil<milliseconds>(deadline - now);
        auto response = link.receive(std::min(rest, slice));
        if (response && answers(*response, service)) {
            return response;
        }
    }
    return {};
}

void Client::throwIfCancelled() const {
    if (cancel.stop_requested()) {
        throw Cancelled();
    }
}

} // namespace Quarlen::Uds
