#pragma once

#include <deque>
#include <memory>
#include <string>

#include "simulation/SimulatedControlUnit.hpp"
#include "uds/Client.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A vehicle with one simulated control unit behind every link, which answers at once, and whose
/// memory can be looked into. Not thread-safe.
class ControlUnitVehicle : public Uds::VehicleInterface {
public:
    ControlUnitVehicle(const Simulation::ControlUnitDescription& description,
                       Platform::Clock& clock)
        : unit(description, clock) {}

    std::unique_ptr<Uds::VehicleLink> openLink(const std::wstring& /*logicalLink*/) override {
        return std::make_unique<Link>(unit);
    }

    Simulation::SimulatedControlUnit unit;

private:
    class Link : public Uds::VehicleLink {
    public:
        explicit Link(Simulation::SimulatedControlUnit& unit) : unit(unit) {}

        void send(const Uds::Bytes& request) override {
            for (auto& response : unit.handle(request)) {
                responses.push_back(std::move(response.bytes));
            }
        }

        std::optional<Uds::Bytes> receive(std::chrono::milliseconds /*timeout*/) override {
            if (responses.empty()) {
                return std::nullopt;
            }
            auto response = std::move(responses.front());
            responses.pop_front();
            return response;
        }

    private:
        Simulation::SimulatedControlUnit& unit;
        std::deque<Uds::Bytes> responses;
    };
};

} // namespace Quarlen::Kel_cpp::Tests
