#include "platform/LocalTime.hpp"

#include <cstdint>
#include <optional>
#include <windows.h>

namespace Quarlen::Platform {
namespace {

/// From 1601, where the system begins to count, to 1970.
constexpr std::int64_t secondsBefore1970 = 11'644'473'600;
constexpr std::int64_t ticksPerSecond = 10'000'000;
/// The system knows years up to 30827.
constexpr std::int64_t lastMoment = 910'000'000'000;

std::optional<SYSTEMTIME> utcTime(std::int64_t moment) {
    if (moment < -secondsBefore1970 || moment > lastMoment) {
        return std::nullopt;
    }
    const auto ticks = static_cast<std::uint64_t>((moment + secondsBefore1970) * ticksPerSecond);
    const FILETIME file{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32U)};
    SYSTEMTIME utc{};
    return ::FileTimeToSystemTime(&file, &utc) != FALSE ? std::optional(utc) : std::nullopt;
}

int dayOfYear(const SYSTEMTIME& time) {
    using namespace std::chrono;
    const year_month_day date(year(time.wYear), month(time.wMonth), day(time.wDay));
    return static_cast<int>((sys_days(date) - sys_days(date.year() / January / 1)).count());
}

std::tm calendarOf(const SYSTEMTIME& time) {
    std::tm calendar{};
    calendar.tm_year = time.wYear - 1900;
    calendar.tm_mon = time.wMonth - 1;
    calendar.tm_mday = time.wDay;
    calendar.tm_hour = time.wHour;
    calendar.tm_min = time.wMinute;
    calendar.tm_sec = time.wSecond;
    calendar.tm_wday = time.wDayOfWeek;
    calendar.tm_yday = dayOfYear(time);
    calendar.tm_isdst = -1;
    return calendar;
}

/// By the rules of the moment's year, which may have been others than today's.
std::optional<SYSTEMTIME> inTimeZone(const SYSTEMTIME& utc) {
    DYNAMIC_TIME_ZONE_INFORMATION zone{};
    TIME_ZONE_INFORMATION rules{};
    SYSTEMTIME local{};
    const bool isKnown = ::GetDynamicTimeZoneInformation(&zone) != TIME_ZONE_ID_INVALID &&
                         ::GetTimeZoneInformationForYear(utc.wYear, &zone, &rules) != FALSE &&
                         ::SystemTimeToTzSpecificLocalTime(&rules, &utc, &local) != FALSE;
    return isKnown ? std::optional(local) : std::nullopt;
}

} // namespace

std::tm localTime(std::time_t moment) {
    const std::optional<SYSTEMTIME> utc = utcTime(moment);
    const std::optional<SYSTEMTIME> local = utc ? inTimeZone(*utc) : std::nullopt;
    return local ? calendarOf(*local) : std::tm{};
}

} // namespace Quarlen::Platform
