#include "tests/system/LedHistory.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "tests/support/linux/Process.hpp"
#include "tests/system/DeviceFiles.hpp"

namespace Quarlen::Tests {

namespace {

constexpr std::array colourNames{"red", "green", "blue"};

int openPipe(const std::filesystem::path& file) {
    std::filesystem::remove(file);
    const bool isMade = ::mkfifo(file.c_str(), S_IRUSR | S_IWUSR) == 0;
    // Open for writing too, so that the program never waits for a reader.
    const int descriptor = isMade ? ::open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1;
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), file);
    }
    return descriptor;
}

/// No intensity that the program knows begins another one. What it does not know is one to the end.
std::vector<std::string> intensities(std::string_view written) {
    std::vector<std::string> found;
    while (!written.empty()) {
        std::size_t length = written.size();
        for (const std::string_view known : {"255", "80", "0"}) {
            length = written.starts_with(known) ? known.size() : length;
        }
        found.emplace_back(written.substr(0, length));
        written.remove_prefix(length);
    }
    return found;
}

} // namespace

LedHistory::LedHistory() {
    for (const char* const name : colourNames) {
        channels[name].descriptor = openPipe(DeviceFiles::brightness(name));
    }
}

LedHistory::~LedHistory() {
    for (const auto& [name, channel] : channels) {
        ::close(channel.descriptor);
        std::error_code ignored;
        std::filesystem::remove(DeviceFiles::brightness(name), ignored);
    }
}

std::vector<std::string> LedHistory::colours() {
    for (auto& [name, channel] : channels) {
        std::array<char, 4096> buffer{};
        const auto length = ::read(channel.descriptor, buffer.data(), buffer.size());
        channel.written.append(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    const auto reds = intensities(channels["red"].written);
    const auto greens = intensities(channels["green"].written);
    const auto blues = intensities(channels["blue"].written);
    std::vector<std::string> shown;
    // The intensities of a colour are written one after the other: the last may have come alone.
    const std::size_t count = std::min({reds.size(), greens.size(), blues.size()});
    for (std::size_t index = 0; index < count; ++index) {
        shown.push_back(reds[index] + ' ' + greens[index] + ' ' + blues[index]);
    }
    shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
    return shown;
}

bool LedHistory::waitFor(const std::string& colour) {
    constexpr std::chrono::milliseconds pollInterval{5};
    const auto end = std::chrono::steady_clock::now() + Process::patience;
    for (auto shown = colours(); std::find(shown.begin(), shown.end(), colour) == shown.end();
         shown = colours()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(pollInterval);
    }
    return true;
}

} // namespace Quarlen::Tests
