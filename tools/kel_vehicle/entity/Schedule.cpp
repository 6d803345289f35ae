#include "tools/kel_vehicle/entity/Schedule.hpp"

#include <utility>

namespace Quarlen::KelVehicle {

Schedule::Key Schedule::add(TimePoint due, Work work) {
    const Key key{due, ++count};
    works.emplace(key, std::move(work));
    return key;
}

std::optional<Schedule::TimePoint> Schedule::nextDue() const {
    if (works.empty()) {
        return {};
    }
    return works.begin()->first.first;
}

bool Schedule::doNext(TimePoint now) {
    if (works.empty() || works.begin()->first.first > now) {
        return false;
    }
    // The work may add others.
    const auto node = works.extract(works.begin());
    node.mapped()();
    return true;
}

} // namespace Quarlen::KelVehicle
