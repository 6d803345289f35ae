#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

#include "std_util/TraceQueue.hpp"

namespace spdlog::sinks {
class sink;
}

namespace StdUtil {

/// The rotating trace file, one line per trace. A line begins at a line's beginning also where the
/// one before was cut off, by a full disk or by the end of the process. Not thread-safe.
class TraceWriter {
public:
    /// Throws `std::runtime_error` when the file cannot be opened.
    explicit TraceWriter(std::filesystem::path name);

    /// Writes at least one trace. After the first that cannot be written the others are not tried.
    /// Nothing is thrown and nothing said on the console then: the lost traces are counted, and as
    /// soon as a line can be written again one tells how many there were.
    void write(const std::vector<TimedTrace>& traces) noexcept;

private:
    void open();
    void tellLost(std::chrono::system_clock::time_point time);
    void writeLine(const TimedTrace& trace);

    const std::filesystem::path file;
    /// Null after a failure. Without the library's logger, which complains on the console.
    std::shared_ptr<spdlog::sinks::sink> sink;
    /// The next line has to begin with a line end.
    bool startsLine = false;
    std::size_t lost = 0;
};

} // namespace StdUtil
