#pragma once

#include "platform/Clock.hpp"
#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The session of a simulated control unit (ISO 14229-1 clause 10.2) and how long it lasts without
/// a request. Not thread-safe.
class SessionControl {
public:
    using TimePoint = Platform::Clock::TimePoint;

    explicit SessionControl(ProgrammingFrom programmingFrom) : programmingFrom(programmingFrom) {}

    [[nodiscard]] Uds::Session active() const noexcept { return session; }

    /// DiagnosticSessionControl: after a positive response the session is `active()`.
    ServiceReply handle(const Uds::Bytes& request);
    void leave() noexcept { session = Uds::Session::Default; }

    /// The last response has been sent.
    void keep(TimePoint now) noexcept { lastActivity = now; }
    [[nodiscard]] bool hasTimedOut(TimePoint now) const noexcept;

private:
    [[nodiscard]] bool mayEnter(Uds::Session wanted) const noexcept;

    ProgrammingFrom programmingFrom;
    Uds::Session session = Uds::Session::Default;
    TimePoint lastActivity{};
};

} // namespace Quarlen::Simulation
