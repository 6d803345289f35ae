#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "tests/support/FakeClock.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Tests {

/// What a scripted end has got and will answer. For one thread at a time.
struct EndpointScript {
    using Milliseconds = std::chrono::milliseconds;
    struct Response {
        Milliseconds delay;
        Uds::Bytes bytes;
        std::uint16_t source = 0;
    };

    /// The first request is answered with the first list of responses, the second with the second
    /// and so on, each response so long after the request as it says.
    void answerNext(std::vector<Response> responses) { answers.push_back(std::move(responses)); }
    /// Each send throws it; empty for none.
    std::function<void()> onSend;
    /// Each receive throws it; empty for none.
    std::function<void()> onReceive;

    std::deque<std::vector<Response>> answers;
    std::vector<Uds::Bytes> requests;
    /// Until when the last send may last.
    Platform::Clock::TimePoint sendDeadline;
};

class ScriptedEndpoint : public Uds::Endpoint {
public:
    ScriptedEndpoint(EndpointScript& script, FakeClock& clock) : script(script), clock(clock) {}

    void send(const Uds::Bytes& message, const Uds::Patience& patience) override {
        if (patience.cancel.stop_requested()) {
            throw Uds::Cancelled();
        }
        script.requests.push_back(message);
        script.sendDeadline = patience.deadline;
        if (script.onSend) {
            script.onSend();
        }
        if (script.answers.empty()) {
            return;
        }
        for (auto& response : script.answers.front()) {
            arriving.emplace_back(clock.now() + response.delay,
                                  Uds::Received{response.source, std::move(response.bytes)});
        }
        script.answers.pop_front();
    }

    std::optional<Uds::Received> receive(const Uds::Patience& patience) override {
        if (script.onReceive) {
            script.onReceive();
        }
        const bool comes = !arriving.empty() && arriving.front().first <= patience.deadline;
        std::mutex mutex;
        std::condition_variable_any never;
        std::unique_lock lock(mutex);
        clock.waitUntil(
            {lock, never, patience.cancel, comes ? arriving.front().first : patience.deadline},
            [] { return false; });
        if (patience.cancel.stop_requested()) {
            throw Uds::Cancelled();
        }
        if (!comes) {
            return {};
        }
        auto message = std::move(arriving.front().second);
        arriving.pop_front();
        return message;
    }

private:
    EndpointScript& script;
    FakeClock& clock;
    std::deque<std::pair<Platform::Clock::TimePoint, Uds::Received>> arriving;
};

} // namespace Quarlen::Tests
