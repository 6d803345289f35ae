#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "simulation/DeliberateFaults.hpp"
#include "simulation/VehicleDescription.hpp"

namespace Quarlen::Ctl {

/// A fault as an engineer plans it on the command line.
struct PlannedFault {
    /// As it was typed, UTF-8.
    std::string text;
    /// Name of a control unit or of its logical link.
    std::wstring unit;
    Simulation::FaultDescription fault;
};

/// "UNIT:22 F1 90=7F 22 31 x2 @1": a request that begins with these bytes gets that response.
/// Nothing behind "=" stands for silence, "lost" for a link that is lost; "xN" ends the fault after
/// N times, "@N" begins it after N normal answers. Throws `Failure` (wrong usage) that says what is
/// wrong.
PlannedFault parsePlannedFault(const std::string& text);

/// Adds the faults to their control units; they come before the vehicle's own faults for the same
/// request. Throws `Failure` (wrong usage) for a control unit that the vehicle does not have.
void addFaults(Simulation::VehicleDescription& vehicle, const std::vector<PlannedFault>& faults);

/// Follows the requests to tell which planned faults have happened. The vehicle already has the
/// faults. Not thread-safe.
class FaultWatch {
public:
    FaultWatch(const Simulation::VehicleDescription& vehicle,
               const std::vector<PlannedFault>& planned);

    void request(const std::wstring& link, const Uds::Bytes& bytes);
    /// In the order in which they were planned.
    [[nodiscard]] std::vector<std::string> neverHappened() const;

private:
    struct Entry {
        Simulation::DeliberateFaults fault;
        /// Index of the planned fault.
        std::size_t index = 0;
    };

    std::map<std::wstring, std::vector<Entry>> byLink;
    std::vector<std::string> texts;
    std::vector<bool> happened;
};

} // namespace Quarlen::Ctl
