#include "kel_server_lib/devices/StatusLed.hpp"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace Quarlen {

namespace {

/// One of the LED's files. Reading is asked for as well because only then is a missing file not
/// created.
class IntensityFile {
public:
    explicit IntensityFile(const std::string& path)
        : path(path), stream(path, std::ios::in | std::ios::out) {}

    [[nodiscard]] bool isOpen() const { return stream.is_open(); }

    /// Leaves nothing of a longer number that the file held before.
    void write(std::int32_t intensity) {
        std::error_code ignored;
        std::filesystem::resize_file(path, 0, ignored);
        stream << std::to_string(intensity);
        stream.close();
    }

private:
    std::filesystem::path path;
    std::fstream stream;
};

} // namespace

void setLed(const std::string& prefix, const LedColour& colour) {
    IntensityFile red(prefix + "red/brightness");
    IntensityFile green(prefix + "green/brightness");
    IntensityFile blue(prefix + "blue/brightness");
    if (red.isOpen() && green.isOpen() && blue.isOpen()) {
        red.write(colour.red);
        green.write(colour.green);
        blue.write(colour.blue);
    }
}

} // namespace Quarlen
