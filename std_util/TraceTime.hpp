#pragma once

#include <chrono>
#include <string>

namespace StdUtil {

/// The times of traces: local, with their offset from UTC, so that they mean the same on every
/// machine. What the traces of one second share is made once. Not thread-safe.
class TraceTime {
public:
    /// As in "2026-01-02 03:04:05.678+01:00".
    std::string text(std::chrono::system_clock::time_point time);

private:
    void begin(std::chrono::sys_seconds next);

    std::chrono::sys_seconds second{};
    /// Empty before the first trace.
    std::string upToSecond;
    std::string offset;
};

} // namespace StdUtil
