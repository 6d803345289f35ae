#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Quarlen::Tests {

/// Keeps every colour that the program gives the LED, however late the test looks: pipes in the
/// place of the LED's files. Make it after the `DeviceFiles` and before the program starts, which
/// must not outlive it.
class LedHistory {
public:
    LedHistory();
    LedHistory(const LedHistory&) = delete;
    LedHistory& operator=(const LedHistory&) = delete;
    ~LedHistory();

    /// As `DeviceFiles::led` tells them; one that is given again at once counts once.
    std::vector<std::string> colours();
    /// False when the LED has not shown this colour in time.
    bool waitFor(const std::string& colour);

private:
    struct Channel {
        int descriptor = -1;
        /// All intensities so far, without anything between.
        std::string written;
    };

    std::map<std::string, Channel> channels;
};

} // namespace Quarlen::Tests
