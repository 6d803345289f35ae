#include "platform/LocalTime.hpp"

namespace Quarlen::Platform {

std::tm localTime(std::time_t moment) {
    std::tm calendar{};
    if (localtime_r(&moment, &calendar) == nullptr) {
        return {};
    }
    return calendar;
}

} // namespace Quarlen::Platform
