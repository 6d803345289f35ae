#include "kel_server_lib/devices/SensorFile.hpp"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace Quarlen {

SensorFile::SensorFile(const std::string& path) : stream(path) {}

std::optional<std::string> SensorFile::readLine() {
    // A failure or the end of the file in the last read must not stop this one.
    stream.clear();
    stream.sync();
    stream.seekg(0);
    std::string line;
    if (!std::getline(stream, line)) {
        return std::nullopt;
    }
    return line;
}

std::int32_t sensorReading(const std::string& line) {
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(line.c_str(), &end, 10);
    if (end == line.c_str()) {
        throw std::invalid_argument("invalid stoi argument");
    }
    using Limits = std::numeric_limits<std::int32_t>;
    if (errno == ERANGE || number < Limits::min() || number > Limits::max()) {
        throw std::out_of_range("stoi argument out of range");
    }
    return static_cast<std::int32_t>(number);
}

} // namespace Quarlen
