#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The data identifiers of a simulated control unit (ISO 14229-1 clauses 11.2, 11.7 and 13.2). Not
/// thread-safe.
class DataIdentifiers {
public:
    explicit DataIdentifiers(const std::vector<DataIdentifierDescription>& descriptions);

    /// ReadDataByIdentifier with one or more identifiers. Unknown identifiers are left out as long
    /// as at least one requested identifier is known; one without a valid value refuses all with
    /// conditionsNotCorrect.
    [[nodiscard]] ServiceReply read(const Uds::Bytes& request) const;

    /// WriteDataByIdentifier. The length of a value never changes.
    ServiceReply write(const Uds::Bytes& request, const AccessState& access);

    [[nodiscard]] bool areControllable() const noexcept;
    /// InputOutputControlByIdentifier: freezes the value of a controllable identifier, puts another
    /// in its place or gives the control unit's own back.
    ServiceReply control(const Uds::Bytes& request, const AccessState& access);
    /// Gives every value back to the control unit.
    void returnControl();

    /// Gives an identifier a new value, whether it exists or not.
    void set(std::uint16_t id, Uds::Bytes value);
    /// The identifier, whether it exists or not, has no value until it is given one again.
    void invalidate(std::uint16_t id);
    [[nodiscard]] bool isInvalid(std::uint16_t id) const;

private:
    struct Entry {
        DataIdentifierDescription description;
        /// What the tester has put in place of the value.
        std::optional<Uds::Bytes> controlled{};
        bool invalid = false;

        [[nodiscard]] const Uds::Bytes& shown() const {
            return controlled ? *controlled : description.value;
        }
    };

    static ServiceReply controlEntry(Entry& entry, const Uds::Bytes& request);

    std::map<std::uint16_t, Entry> entries;
};

} // namespace Quarlen::Simulation
