#pragma once

#include <algorithm>
#include <chrono>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "tests/support/FakeClock.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Tests {

/// A link that answers the first request with the first list of responses, the second with the
/// second and so on, each response so long after the request as it says. For one thread.
class ScriptedLink : public Uds::VehicleLink {
public:
    using Milliseconds = std::chrono::milliseconds;
    struct Response {
        Milliseconds delay;
        Uds::Bytes bytes;
    };

    explicit ScriptedLink(FakeClock& clock) : clock(clock) {}

    void answerNext(std::vector<Response> responses) { script.push_back(std::move(responses)); }
    [[nodiscard]] const std::vector<Uds::Bytes>& requests() const { return sent; }

    void send(const Uds::Bytes& request) override {
        sent.push_back(request);
        if (script.empty()) {
            return;
        }
        for (auto& response : script.front()) {
            arriving.emplace_back(clock.now() + response.delay, std::move(response.bytes));
        }
        script.pop_front();
    }

    std::optional<Uds::Bytes> receive(Milliseconds timeout) override {
        const auto wait =
            arriving.empty()
                ? timeout
                : std::chrono::ceil<Milliseconds>(arriving.front().first - clock.now());
        if (wait > Milliseconds{0}) {
            clock.sleepFor(std::min(wait, timeout));
        }
        if (arriving.empty() || arriving.front().first > clock.now()) {
            return {};
        }
        auto bytes = std::move(arriving.front().second);
        arriving.pop_front();
        return bytes;
    }

private:
    FakeClock& clock;
    std::deque<std::vector<Response>> script;
    std::deque<std::pair<Platform::Clock::TimePoint, Uds::Bytes>> arriving;
    std::vector<Uds::Bytes> sent;
};

} // namespace Quarlen::Tests
