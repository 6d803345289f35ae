#pragma once

#include <cstdint>

#include "simulation/ServiceReply.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// What a tester keeps a simulated control unit from while the vehicle is programmed: its messages
/// to other control units (CommunicationControl, ISO 14229-1 clause 10.5) and the storing of faults
/// (ControlDTCSetting, clause 10.8). Both last until they are taken back or the default session is
/// entered (clause 10.2.2). Not thread-safe.
class NetworkControl {
public:
    ServiceReply controlCommunication(const Uds::Bytes& request);
    ServiceReply controlDtcSetting(const Uds::Bytes& request);

    void restore() { *this = {}; }

    [[nodiscard]] bool communicates() const noexcept { return silenced == 0; }
    [[nodiscard]] bool storesFaults() const noexcept { return storing; }

private:
    /// The kinds of messages (the bits of `Uds::CommunicationType`) that are not sent or not
    /// received.
    std::uint8_t silenced = 0;
    bool storing = true;
};

} // namespace Quarlen::Simulation
