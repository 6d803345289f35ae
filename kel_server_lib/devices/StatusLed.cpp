#include "kel_server_lib/devices/StatusLed.hpp"

#include "platform/ExistingFile.hpp"

namespace Quarlen {

using Platform::ExistingFile;

void setLed(const std::string& prefix, const LedColour& colour) {
    const auto red = ExistingFile::open(prefix + "red/brightness");
    const auto green = ExistingFile::open(prefix + "green/brightness");
    const auto blue = ExistingFile::open(prefix + "blue/brightness");
    if (red && green && blue) {
        red->replaceContent(std::to_string(colour.red));
        green->replaceContent(std::to_string(colour.green));
        blue->replaceContent(std::to_string(colour.blue));
    }
}

} // namespace Quarlen
