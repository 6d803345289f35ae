#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

namespace Quarlen::Tests {

/// Gives this test program, and what it starts from now on, a mount namespace of its own with small
/// empty file systems in the place of /sys/class and /sys/bus. Nothing else on the machine sees
/// them, and they go with the program. Call it while the program has one thread. Returns an empty
/// text, or why this machine does not let it.
std::string enterDeviceNamespace();

/// The LED and the two proximity sensors where the program looks for them, made anew. Needs the
/// namespace.
class DeviceFiles {
public:
    DeviceFiles();

    /// Sensor 1 is button F1's, sensor 0 button F2's.
    static std::filesystem::path sensor(int number);
    /// `colour` is "red", "green" or "blue".
    static std::filesystem::path brightness(const std::string& colour);

    /// The program never sees a part of it: all readings have the same number of digits.
    static void setReading(int sensorNumber, int reading);
    static void setLine(int sensorNumber, const std::string& line);

    /// The whole content of the three files, with blanks between.
    static std::string led();
    /// False when the LED does not get to show this colour in time.
    static bool waitForLed(const std::string& colour);
};

/// Counts what happens to one file from now on.
class FileEvents {
public:
    /// Ends of writing, each of which closes the file, of changes that are younger than the watch.
    static constexpr std::uint32_t writes = 0x08;
    static constexpr std::uint32_t reads = 0x01;

    FileEvents(const std::filesystem::path& file, std::uint32_t kind);
    FileEvents(const FileEvents&) = delete;
    FileEvents& operator=(const FileEvents&) = delete;
    ~FileEvents();

    /// False when there are not so many in time.
    bool waitFor(unsigned wanted);
    /// So far.
    unsigned count();
    /// A moment before the last one that was waited for.
    [[nodiscard]] std::chrono::steady_clock::time_point beforeLast() const { return missing; }

private:
    std::uint32_t kind;
    int descriptor;
    unsigned seen = 0;
    bool changed = false;
    std::chrono::steady_clock::time_point missing;
};

} // namespace Quarlen::Tests
