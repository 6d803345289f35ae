#pragma once

#include <deque>
#include <memory>
#include <utility>

#include "simulation/SimulatedControlUnit.hpp"
#include "tests/support/TestInterface.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A vehicle with one simulated control unit behind every link, which answers at once, and whose
/// memory can be looked into. Not thread-safe.
class ControlUnitVehicle : public Quarlen::Tests::TestInterface {
public:
    ControlUnitVehicle(const Simulation::ControlUnitDescription& description,
                       Platform::Clock& clock)
        : unit(description, clock) {}

    std::unique_ptr<Uds::Endpoint> openEndpoint(const Uds::UnitAddress& /*unit*/) override {
        return std::make_unique<End>(unit);
    }

    Simulation::SimulatedControlUnit unit;

private:
    class End : public Uds::Endpoint {
    public:
        explicit End(Simulation::SimulatedControlUnit& unit) : unit(unit) {}

        void send(const Uds::Bytes& message, const Uds::Patience& /*patience*/) override {
            for (auto& response : unit.handle(message)) {
                responses.push_back(std::move(response.bytes));
            }
        }

        std::optional<Uds::Received> receive(const Uds::Patience& /*patience*/) override {
            if (responses.empty()) {
                return std::nullopt;
            }
            Uds::Received message{0, std::move(responses.front())};
            responses.pop_front();
            return message;
        }

    private:
        Simulation::SimulatedControlUnit& unit;
        std::deque<Uds::Bytes> responses;
    };
};

} // namespace Quarlen::Kel_cpp::Tests
