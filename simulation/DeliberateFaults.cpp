#include "simulation/DeliberateFaults.hpp"

#include <algorithm>

namespace Quarlen::Simulation {

namespace {

bool beginsWith(const Uds::Bytes& request, const Uds::Bytes& head) {
    return request.size() >= head.size() && std::equal(head.begin(), head.end(), request.begin());
}

} // namespace

DeliberateFaults::DeliberateFaults(const std::vector<FaultDescription>& descriptions) {
    for (const auto& description : descriptions) {
        faults.push_back({description});
    }
}

const FaultDescription* DeliberateFaults::next(const Uds::Bytes& request) {
    const FaultDescription* active = nullptr;
    for (auto& fault : faults) {
        if (!beginsWith(request, fault.description.request)) {
            continue;
        }
        const auto turn = fault.matches++;
        const auto first = fault.description.after;
        const auto& times = fault.description.times;
        if (active == nullptr && turn >= first && (!times || turn - first < *times)) {
            active = &fault.description;
        }
    }
    return active;
}

} // namespace Quarlen::Simulation
