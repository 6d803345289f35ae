#pragma once

#include <cstdlib>
#include <ctime>

namespace Quarlen::Tests {

/// Sets the environment variable TZ, which the C library follows, for as long as this lives.
class TimeZoneVariable {
public:
    explicit TimeZoneVariable(const char* zone) { set(zone); }
    TimeZoneVariable(const TimeZoneVariable&) = delete;
    TimeZoneVariable& operator=(const TimeZoneVariable&) = delete;
    ~TimeZoneVariable() { set(""); }

private:
    static void set(const char* zone) {
        ::_putenv_s("TZ", zone);
        ::_tzset();
    }
};

} // namespace Quarlen::Tests
