#pragma once

#include <array>

#include "simulation/SimulatedControlUnit.hpp"

namespace Quarlen::Simulation {

/// A service that every simulated control unit knows, and in which session.
struct SimulatedControlUnit::ServiceRule {
    using Unit = SimulatedControlUnit;
    using Request = const Uds::Bytes&;

    Uds::Service service;
    /// The required session; the default session stands for any session.
    Uds::Session session;
    ServiceReply (*run)(Unit& unit, Request request);

    /// The most frequent service comes first.
    static const std::array<ServiceRule, 16> all;
};

} // namespace Quarlen::Simulation
