#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>

namespace Quarlen {

/// A proximity sensor's file, owned by its button's thread. It stays open and is read again from
/// its start each time.
class SensorFile {
public:
    explicit SensorFile(const std::string& path);

    /// The first line; nothing when the file is not open or cannot be read just now. A failure
    /// does not keep later reads from succeeding.
    [[nodiscard]] std::optional<std::string> readLine();

private:
    std::ifstream stream;
};

/// Leading blanks and text after the digits are ignored. Throws `std::invalid_argument` for a line
/// that begins with no number and `std::out_of_range` for one that 32 bits cannot hold.
std::int32_t sensorReading(const std::string& line);

} // namespace Quarlen
