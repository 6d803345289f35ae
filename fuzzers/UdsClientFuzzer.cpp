#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>

#include "fuzzers/Input.hpp"
#include "uds/Client.hpp"
#include "uds/Identifiers.hpp"
#include "uds/Matching.hpp"
#include "uds/VehicleLink.hpp"

namespace {

using namespace Quarlen;
using Fuzzers::Input;
using std::chrono::milliseconds;
using Uds::Bytes;

constexpr Uds::Timing timing{.p2 = milliseconds{50},
                             .p2Star = milliseconds{200},
                             .total = milliseconds{1000},
                             .busy = milliseconds{150},
                             .delta = milliseconds{10}};
/// Pauses before a busy control unit is asked again, what is waited for from the request before,
/// and what rounding takes.
constexpr milliseconds beyondTotal{200 + 1000 + 1};
/// One, its repetitions, and what a session that the control unit told of may take.
constexpr std::size_t maxRequests = 8;
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
    bool waitUntil(const Wait& wait, const std::function<bool()>& ready) override {
        current = std::max(current, wait.deadline);
        return ready();
    }

private:
    TimePoint current{};
};

/// Each response comes so many milliseconds after the one before as its first byte says.
class FuzzedEnd : public Uds::Endpoint {
public:
    FuzzedEnd(Input& input, WaitClock& clock, std::size_t& requests)
        : input(input), clock(clock), requests(requests) {}

    void send(const Bytes& message, const Uds::Patience& /*patience*/) override {
        require(!message.empty());
        ++requests;
    }

    std::optional<Uds::Received> receive(const Uds::Patience& patience) override {
        if (!due && !input.atEnd()) {
            due = clock.now() + milliseconds{input.number()};
        }
        if (!due || *due > patience.deadline) {
            moveTo(patience.deadline);
            return std::nullopt;
        }
        moveTo(*due);
        due.reset();
        return Uds::Received{0, input.message()};
    }

private:
    void moveTo(Platform::Clock::TimePoint time) {
        if (time > clock.now()) {
            clock.sleepFor(std::chrono::ceil<milliseconds>(time - clock.now()));
        }
    }

    Input& input;
    WaitClock& clock;
    std::size_t& requests;
    std::optional<Platform::Clock::TimePoint> due;
};

/// A response belongs to its request; nothing at all is only good for one that asks for silence.
void checkResponse(const Bytes& request, const Bytes& response) {
    if (response.empty()) {
        require(Uds::suppressesPositiveResponse(request));
    } else if (Uds::isNegative(response)) {
        require(response[1] == request[0] && response[2] != pending);
    } else {
        require(Uds::matches(request, response));
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
    std::size_t requests = 0;
    Uds::VehicleLink link(std::make_shared<Uds::Channel>(
        Uds::UnitAddress{L"LINK"}, std::make_unique<FuzzedEnd>(input, clock, requests), clock,
        timing, [](const Uds::BusEvent&) {}));
    Uds::Client client(link, std::stop_token());
    while (!input.atEnd()) {
        const auto begin = clock.now();
        requests = 0;
        std::size_t exchanges = 2;
        try {
            exchanges = run(client, input);
        } catch (const Uds::NegativeResponse& refusal) {
            require(refusal.nrc() != pending && !refusal.message().empty());
        } catch (const Uds::LinkError& error) {
            require(!error.message().empty());
        }
        require(requests <= exchanges * maxRequests);
        require(clock.now() - begin <=
                static_cast<std::int64_t>(exchanges) * (timing.total + beyondTotal));
    }
    return 0;
}
