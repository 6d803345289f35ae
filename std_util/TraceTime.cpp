#include "std_util/TraceTime.hpp"

#include <cstdlib>
#include <ctime>

#include "platform/LocalTime.hpp"

namespace StdUtil {

namespace {

using std::chrono::duration_cast;
using std::chrono::system_clock;

std::string padded(std::int64_t number, std::size_t digits) {
    std::string text = std::to_string(number);
    return text.size() < digits ? text.insert(0, digits - text.size(), '0') : text;
}

std::string offsetText(std::chrono::minutes offset) {
    const std::int64_t minutes = std::abs(static_cast<std::int64_t>(offset.count()));
    return (offset.count() < 0 ? "-" : "+") + padded(minutes / 60, 2) + ":" +
           padded(minutes % 60, 2);
}

} // namespace

std::string TraceTime::text(system_clock::time_point time) {
    const auto now = std::chrono::floor<std::chrono::seconds>(time);
    if (now != second || upToSecond.empty()) {
        begin(now);
    }
    return upToSecond + "." +
           padded(duration_cast<std::chrono::milliseconds>(time - now).count(), 3) + offset;
}

void TraceTime::begin(std::chrono::sys_seconds next) {
    const std::time_t moment = system_clock::to_time_t(next);
    const std::tm local = Quarlen::Platform::localTime(moment);
    second = next;
    offset = offsetText(Quarlen::Platform::offsetFromUtc(local, moment));
    upToSecond = padded(local.tm_year + 1900, 4) + "-" + padded(local.tm_mon + 1, 2) + "-" +
                 padded(local.tm_mday, 2) + " " + padded(local.tm_hour, 2) + ":" +
                 padded(local.tm_min, 2) + ":" + padded(local.tm_sec, 2);
}

} // namespace StdUtil
