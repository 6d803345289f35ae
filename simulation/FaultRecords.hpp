#pragma once

#include <cstdint>
#include <map>
#include <set>

#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The numbered records that a control unit has stored with its DTCs: its freeze frames, or its
/// extended data (ISO 14229-1 clause 12.3, sub-functions 0x04 and 0x06). The numbers that a control
/// unit supports stay the same when records are cleared. Not thread-safe.
class FaultRecords {
public:
    void add(std::uint32_t dtc, std::uint8_t number, Uds::Bytes content);

    [[nodiscard]] bool areSupported() const noexcept { return !numbers.empty(); }
    /// True for a number that some DTC of the control unit has had and for `Uds::allRecords`.
    [[nodiscard]] bool supports(std::uint8_t number) const;

    /// Each record as its number and its content; nothing for a DTC that has none.
    void append(Uds::Bytes& response, std::uint32_t dtc, std::uint8_t number) const;

    void clear(std::uint32_t dtc) { records.erase(dtc); }

private:
    std::set<std::uint8_t> numbers;
    std::map<std::uint32_t, std::map<std::uint8_t, Uds::Bytes>> records;
};

} // namespace Quarlen::Simulation
