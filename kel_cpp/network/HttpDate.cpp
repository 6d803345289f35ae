#include "kel_cpp/network/HttpDate.hpp"

#include <array>
#include <cstdio>

namespace Quarlen::Kel_cpp {

std::string httpDate(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    constexpr std::array days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto day = floor<std::chrono::days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(floor<seconds>(time - day));
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%s, %02u %s %04d %02d:%02d:%02d GMT",
                  days.at(weekday(day).c_encoding()), static_cast<unsigned>(date.day()),
                  months.at(static_cast<unsigned>(date.month()) - 1), static_cast<int>(date.year()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

} // namespace Quarlen::Kel_cpp
