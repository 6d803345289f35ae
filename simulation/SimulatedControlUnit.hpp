#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <vector>

#include "platform/Clock.hpp"
#include "simulation/DataIdentifiers.hpp"
#include "simulation/DeliberateFaults.hpp"
#include "simulation/FaultMemory.hpp"
#include "simulation/FlashServices.hpp"
#include "simulation/NetworkControl.hpp"
#include "simulation/Routines.hpp"
#include "simulation/SecurityAccess.hpp"
#include "simulation/ServiceReply.hpp"
#include "simulation/SessionControl.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// A response and the time at which it is received.
struct TimedResponse {
    Platform::Clock::TimePoint due;
    Uds::Bytes bytes;
};

/// The control unit does not take the message: whoever sends it waits.
class InputFull : public std::exception {};

/// The UDS server of one control unit (ISO 14229-1): request bytes in, timed response bytes out. It
/// never sleeps. Checks come in the order of clause 8.7: service, session, security, length,
/// sub-function, then the service's own. Not thread-safe.
class SimulatedControlUnit {
public:
    /// `clock` must outlive the control unit.
    SimulatedControlUnit(const ControlUnitDescription& description, Platform::Clock& clock);

    /// Responses in the order of their times. The work takes longer by `extraWork`, with response
    /// pending meanwhile. Throws `Uds::LinkError` for a described fault that breaks the link,
    /// `InputFull` for one that keeps the message from being taken.
    std::vector<TimedResponse> handle(const Uds::Bytes& request,
                                      std::chrono::milliseconds extraWork = {});

    /// The content of a region of the flash memory. Empty when the region is not within one memory.
    [[nodiscard]] Uds::Bytes memoryContent(std::uint32_t address, std::uint32_t size) const;
    /// What a tester has switched off before it programs.
    [[nodiscard]] const NetworkControl& networkControl() const noexcept { return network; }

private:
    using TimePoint = Platform::Clock::TimePoint;
    struct ServiceRule;

    [[nodiscard]] static const ServiceRule* findRule(std::uint8_t serviceId);
    [[nodiscard]] std::vector<TimedResponse> fail(const FaultDescription& fault,
                                                  TimePoint now) const;
    [[nodiscard]] std::vector<TimedResponse> refuseWhileBusy(const Uds::Bytes& request,
                                                             TimePoint now) const;
    std::vector<TimedResponse> schedule(const Uds::Bytes& request, ServiceReply reply,
                                        TimePoint now);
    [[nodiscard]] bool offers(Uds::Service service) const;
    [[nodiscard]] AccessState access() const;
    void onSessionEntered();
    void enterDefaultSession();
    void showSession();

    ServiceReply serve(const Uds::Bytes& request);
    ServiceReply controlSession(const Uds::Bytes& request);
    ServiceReply reset(const Uds::Bytes& request);
    ServiceReply controlRoutine(const Uds::Bytes& request);
    ServiceReply stayPresent(const Uds::Bytes& request);

    ControlUnitDescription description;
    Platform::Clock& clock;
    DataIdentifiers data;
    FaultMemory faultMemory;
    SecurityAccess security;
    FlashServices flash;
    NetworkControl network;
    Routines routines;
    DeliberateFaults faults;
    SessionControl sessions;
    /// Until then it answers nothing at all.
    TimePoint bootedAt{};
    TimePoint busyUntil{};
};

} // namespace Quarlen::Simulation
