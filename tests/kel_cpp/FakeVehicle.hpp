#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "tests/support/FakeClock.hpp"
#include "tests/support/TestInterface.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A vehicle whose every control unit answers as one function says; silence is waited out on the
/// clock. Writes down all requests. Set the public member before other threads use the vehicle.
class FakeVehicle : public Quarlen::Tests::TestInterface {
public:
    using Answer = std::function<std::optional<Uds::Bytes>(const Uds::Bytes&)>;

    explicit FakeVehicle(Quarlen::Tests::FakeClock& clock) : clock(clock) {}

    std::unique_ptr<Uds::Endpoint> openEndpoint(const Uds::UnitAddress& /*unit*/) override {
        return std::make_unique<End>(*this);
    }

    [[nodiscard]] std::vector<Uds::Bytes> requests() const {
        const std::lock_guard lock(mutex);
        return received;
    }

    Answer answer = [](const Uds::Bytes&) { return std::nullopt; };

private:
    class End : public Uds::Endpoint {
    public:
        explicit End(FakeVehicle& vehicle) : vehicle(vehicle) {}

        void send(const Uds::Bytes& message, const Uds::Patience& patience) override {
            vehicle.check(patience);
            {
                const std::lock_guard lock(vehicle.mutex);
                vehicle.received.push_back(message);
            }
            if (auto response = vehicle.answer(message)) {
                responses.push_back(std::move(*response));
            }
        }

        std::optional<Uds::Received> receive(const Uds::Patience& patience) override {
            vehicle.check(patience);
            if (responses.empty()) {
                const auto left = patience.deadline - vehicle.clock.now();
                vehicle.clock.advance(std::chrono::ceil<std::chrono::milliseconds>(left));
                return std::nullopt;
            }
            Uds::Received message{0, std::move(responses.front())};
            responses.pop_front();
            return message;
        }

    private:
        FakeVehicle& vehicle;
        std::deque<Uds::Bytes> responses;
    };

    Quarlen::Tests::FakeClock& clock;
    mutable std::mutex mutex;
    std::vector<Uds::Bytes> received;
};

} // namespace Quarlen::Kel_cpp::Tests
