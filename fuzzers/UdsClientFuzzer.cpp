#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <stop_token>

#include "uds/Client.hpp"
#include "uds/Identifiers.hpp"

namespace {

using namespace Quarlen;
using std::chrono::milliseconds;
using Uds::Bytes;

constexpr Uds::Timing timing{milliseconds{50}, milliseconds{200}, milliseconds{1000}};
/// Three pauses before a busy control unit is asked again, and what rounding takes.
constexpr milliseconds beyondTotal{3 * 20 + 1};
constexpr std::size_t maxRequests = 4;
constexpr std::uint8_t pending = static_cast<std::uint8_t>(Uds::Nrc::ResponsePending);

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Time only moves when somebody waits.
class WaitClock : public Platform::Clock {
public:
    void sleepFor(milliseconds duration) override { current += duration; }
    [[nodiscard]] TimePoint now() const override { return current; }

private:
    TimePoint current{};
};

class Input {
public:
    explicit Input(std::span<const std::uint8_t> bytes) : rest(bytes) {}

    [[nodiscard]] bool atEnd() const { return rest.empty(); }
    std::uint8_t number() {
        const auto bytes = take(1);
        return bytes.empty() ? std::uint8_t{0} : bytes[0];
    }
    /// A length and so many bytes, or what is left of them.
    Bytes message() {
        const auto length = number();
        return take(length);
    }

private:
    Bytes take(std::size_t count) {
        const auto part = rest.first(std::min(count, rest.size()));
        rest = rest.subspan(part.size());
        return {part.begin(), part.end()};
    }

    std::span<const std::uint8_t> rest;
};

/// Each response comes so many milliseconds after the one before as its first byte says.
class FuzzedLink : public Uds::VehicleLink {
public:
    FuzzedLink(Input& input, WaitClock& clock) : input(input), clock(clock) {}

    void send(const Bytes& request) override {
        require(!request.empty());
        ++requests;
    }

    std::optional<Bytes> receive(milliseconds timeout) override {
        if (!delay && !input.atEnd()) {
            delay = milliseconds{input.number()};
        }
        const auto wait = std::min(delay.value_or(timeout), timeout);
        clock.sleepFor(wait);
        if (!delay || *delay > timeout) {
            delay = delay ? std::optional(*delay - wait) : std::nullopt;
            return std::nullopt;
        }
        delay.reset();
        return input.message();
    }

    std::size_t requests = 0;

private:
    Input& input;
    WaitClock& clock;
    std::optional<milliseconds> delay;
};

/// A response belongs to its request; nothing at all is only good for one that asks for silence.
void checkResponse(const Bytes& request, const Bytes& response) {
    if (response.empty()) {
        require(Uds::suppressesPositiveResponse(request));
    } else if (Uds::isNegative(response)) {
        require(response[1] == request[0] && response[2] != pending);
    } else {
        require(response[0] == static_cast<std::uint8_t>(request[0] + Uds::positiveResponseOffset));
    }
}

/// The exchanges that the operation took at most.
std::size_t run(Uds::Client& client, Input& input) {
    switch (input.number() % 3) {
    case 0:
        (void)client.readData(Uds::Did::vin);
        return 1;
    case 1:
        client.unlock(1, 0x12345678);
        return 2;
    default:
        const auto request = input.message();
        checkResponse(request, client.exchange(request));
        return 1;
    }
}

} // namespace

/// Whatever comes as responses: an operation ends within its time and number of requests, with a
/// response to its request or with a documented exception. Nobody cancels here.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input({data, size});
    WaitClock clock;
    FuzzedLink link(input, clock);
    Uds::Client client(link, std::stop_token(), clock, timing);
    while (!input.atEnd()) {
        const auto begin = clock.now();
        link.requests = 0;
        std::size_t exchanges = 2;
        try {
            exchanges = run(client, input);
        } catch (const Uds::NegativeResponse& refusal) {
            require(refusal.nrc() != pending && !refusal.message().empty());
        } catch (const Uds::LinkError& error) {
            require(!error.message().empty());
        }
        require(link.requests <= exchanges * maxRequests);
        require(clock.now() - begin <=
                static_cast<std::int64_t>(exchanges) * (timing.total + beyondTotal));
    }
    return 0;
}
