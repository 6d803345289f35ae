#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "kel_cpp/uds/Uds.hpp"
#include "kel_cpp/vehicle/ServiceReply.hpp"

namespace Quarlen::Kel_cpp {

/// The routines that a vehicle file describes (ISO 14229-1 clause 13.2): they can be started, which
/// lasts as long as described, and asked for their result afterwards. Not thread-safe.
class Routines {
public:
    explicit Routines(const std::vector<RoutineDescription>& descriptions);

    /// `request` has at least a routine identifier.
    ServiceReply control(const Uds::Bytes& request, const AccessState& access);

private:
    struct Routine {
        RoutineDescription description;
        bool hasRun = false;
    };

    std::map<std::uint16_t, Routine> routines;
};

} // namespace Quarlen::Kel_cpp
