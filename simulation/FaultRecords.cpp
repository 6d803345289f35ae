#include "simulation/FaultRecords.hpp"

#include <utility>

#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

void FaultRecords::add(std::uint32_t dtc, std::uint8_t number, Uds::Bytes content) {
    numbers.insert(number);
    records[dtc].insert_or_assign(number, std::move(content));
}

bool FaultRecords::supports(std::uint8_t number) const {
    return number == Uds::allRecords || numbers.contains(number);
}

void FaultRecords::append(Uds::Bytes& response, std::uint32_t dtc, std::uint8_t number) const {
    const auto found = records.find(dtc);
    if (found == records.end()) {
        return;
    }
    for (const auto& [stored, content] : found->second) {
        if (number == Uds::allRecords || number == stored) {
            response.push_back(stored);
            response.insert(response.end(), content.begin(), content.end());
        }
    }
}

} // namespace Quarlen::Simulation
