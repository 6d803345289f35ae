#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/FakeClock.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A vehicle whose every link answers as one function says; silence is waited out on the clock.
/// Writes down all requests. Set the public member before other threads use the vehicle.
class FakeVehicle : public Uds::VehicleInterface {
public:
    using Answer = std::function<std::optional<Uds::Bytes>(const Uds::Bytes&)>;

    explicit FakeVehicle(Quarlen::Tests::FakeClock& clock) : clock(clock) {}

    std::unique_ptr<Uds::VehicleLink> openLink(const std::wstring& /*logicalLink*/) override {
        return std::make_unique<Link>(*this);
    }

    [[nodiscard]] std::vector<Uds::Bytes> requests() const {
        const std::lock_guard lock(mutex);
        return received;
    }

    /// Links that are open now.
    [[nodiscard]] std::size_t linkCount() const {
        const std::lock_guard lock(mutex);
        return openLinks;
    }

    Answer answer = [](const Uds::Bytes&) { return std::nullopt; };

private:
    class Link : public Uds::VehicleLink {
    public:
        explicit Link(FakeVehicle& vehicle) : vehicle(vehicle) {
            const std::lock_guard lock(vehicle.mutex);
            ++vehicle.openLinks;
        }
        ~Link() override {
            const std::lock_guard lock(vehicle.mutex);
            --vehicle.openLinks;
        }

        void send(const Uds::Bytes& request) override {
            {
                const std::lock_guard lock(vehicle.mutex);
                vehicle.received.push_back(request);
            }
            if (auto response = vehicle.answer(request)) {
                responses.push_back(std::move(*response));
            }
        }

        std::optional<Uds::Bytes> receive(std::chrono::milliseconds timeout) override {
            if (responses.empty()) {
                vehicle.clock.advance(timeout);
                return std::nullopt;
            }
            auto response = std::move(responses.front());
            responses.pop_front();
            return response;
        }

    private:
        FakeVehicle& vehicle;
        std::deque<Uds::Bytes> responses;
    };

    Quarlen::Tests::FakeClock& clock;
    mutable std::mutex mutex;
    std::vector<Uds::Bytes> received;
    std::size_t openLinks = 0;
};

} // namespace Quarlen::Kel_cpp::Tests
