#include "platform/LocalTime.hpp"

namespace Quarlen::Platform {

std::chrono::minutes offsetFromUtc(const std::tm& local, std::time_t moment) {
    using namespace std::chrono;
    const auto date = year(local.tm_year + 1900) / month(static_cast<unsigned>(local.tm_mon + 1)) /
                      day(static_cast<unsigned>(local.tm_mday));
    const auto asIfUtc = sys_days(date) + hours(local.tm_hour) + minutes(local.tm_min);
    return floor<minutes>(asIfUtc - floor<minutes>(system_clock::from_time_t(moment)));
}

} // namespace Quarlen::Platform
