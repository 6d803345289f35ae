#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The data identifiers of a simulated control unit (ISO 14229-1 clauses 11.2 and 11.7). Not
/// thread-safe.
class DataIdentifiers {
public:
    explicit DataIdentifiers(const std::vector<DataIdentifierDescription>& descriptions);

    /// ReadDataByIdentifier with one or more identifiers. Unknown identifiers are left out as long
    /// as at least one requested identifier is known.
    [[nodiscard]] ServiceReply read(const Uds::Bytes& request) const;

    /// WriteDataByIdentifier. The length of a value never changes.
    ServiceReply write(const Uds::Bytes& request, const AccessState& access);

    /// Gives an identifier a new value, whether it exists or not.
    void set(std::uint16_t id, Uds::Bytes value);

private:
    std::map<std::uint16_t, DataIdentifierDescription> entries;
};

} // namespace Quarlen::Simulation
