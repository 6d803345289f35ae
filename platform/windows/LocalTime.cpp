#include "platform/LocalTime.hpp"

namespace Quarlen::Platform {

std::tm localTime(std::time_t moment) {
    std::tm calendar{};
    if (localtime_s(&calendar, &moment) != 0) {
        return {};
    }
    return calendar;
}

} // namespace Quarlen::Platform
