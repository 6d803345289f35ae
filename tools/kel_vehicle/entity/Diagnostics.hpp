#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "doip/Payloads.hpp"
#include "simulation/SimulatedUnits.hpp"
#include "tools/kel_vehicle/entity/ExchangeLog.hpp"
#include "tools/kel_vehicle/entity/TesterConnection.hpp"
#include "tools/kel_vehicle/misbehaviour/Misbehaviour.hpp"

namespace Quarlen::KelVehicle {

/// Hands the testers' diagnostic messages to the control units, and their responses back at their
/// times (diagnostic message handler, ISO 13400-2:2019, clause 7.8). Each message is acknowledged
/// before its response, as a message of its own. All operations run on the loop's thread.
class Diagnostics {
public:
    /// All of them must outlive it.
    Diagnostics(Simulation::SimulatedUnits& units, std::uint16_t gateway,
                Misbehaviours& misbehaviours, const ExchangeLog& log)
        : units(units), gateway(gateway), misbehaviours(misbehaviours), log(log) {}

    void handle(TesterConnection& from, const Doip::DiagnosticMessage& request);
    /// How many have been taken from testers.
    [[nodiscard]] std::uint64_t count() const noexcept { return handled; }

private:
    using Arrivals = std::vector<Simulation::Arrival>;

    void serve(TesterConnection& from, const Doip::DiagnosticMessage& request);
    void serveAsPlanned(TesterConnection& from, const Doip::DiagnosticMessage& request,
                        const Plan& plan);
    [[nodiscard]] bool knows(const Doip::DiagnosticMessage& request) const;
    [[nodiscard]] bool isForGateway(const Doip::DiagnosticMessage& request) const;
    [[nodiscard]] Arrivals answersOfGateway(const Doip::DiagnosticMessage& request) const;
    [[nodiscard]] Arrivals answersTo(const Doip::DiagnosticMessage& request, const Plan& plan);
    [[nodiscard]] Arrivals refusals(const Doip::DiagnosticMessage& request, const Plan& plan) const;
    [[nodiscard]] Arrivals ask(const Doip::DiagnosticMessage& request,
                               std::chrono::milliseconds extraWork);
    void send(TesterConnection& target, Simulation::Arrival arrival, std::uint16_t tester,
              const Plan& plan, bool breaksOff);
    void acknowledge(TesterConnection& from, const Doip::DiagnosticMessage& request);
    void refuse(TesterConnection& from, const Doip::DiagnosticMessage& request, std::uint8_t code);

    Simulation::SimulatedUnits& units;
    /// The entity's own logical address.
    const std::uint16_t gateway;
    Misbehaviours& misbehaviours;
    const ExchangeLog& log;
    std::uint64_t handled = 0;
};

} // namespace Quarlen::KelVehicle
