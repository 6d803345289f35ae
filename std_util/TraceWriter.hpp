#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

#include "std_util/TraceQueue.hpp"

namespace spdlog {
class formatter;
}

namespace StdUtil {

class RotatingFile;

/// The rotating trace file, one line per trace. Each trace begins on a new line, also where the
/// line before was cut off by a full disk or by the end of the process. Not thread-safe.
class TraceWriter {
public:
    /// Throws `std::runtime_error` when the file cannot be opened.
    explicit TraceWriter(std::filesystem::path name);
    ~TraceWriter();
    TraceWriter(const TraceWriter&) = delete;
    TraceWriter& operator=(const TraceWriter&) = delete;

    /// Writes the traces, at least one of them given. After the first that cannot be written the
    /// others are not tried. The failure is neither thrown nor shown on the console: the lost
    /// traces are counted, and a line tells their number as soon as one can be written again.
    void write(const std::vector<TimedTrace>& traces) noexcept;

private:
    void open();
    void tellLost(std::chrono::system_clock::time_point time);
    void writeLine(const TimedTrace& trace);

    const std::filesystem::path file;
    const std::unique_ptr<spdlog::formatter> formatter;
    /// Null after a failure.
    std::unique_ptr<RotatingFile> lines;
    /// The next line has to begin with a line end.
    bool startsLine = false;
    std::size_t lost = 0;
};

} // namespace StdUtil
