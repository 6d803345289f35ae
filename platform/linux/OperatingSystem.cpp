#include "platform/OperatingSystem.hpp"

#include <fstream>
#include <string>
#include <string_view>
#include <sys/utsname.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {

namespace {

/// PRETTY_NAME of os-release(5); empty where the file or the entry is missing.
std::string distributionName() {
    constexpr std::string_view key = "PRETTY_NAME=";
    std::ifstream file("/etc/os-release");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key)) {
            std::string value = line.substr(key.size());
            std::erase(value, '"');
            return value;
        }
    }
    return {};
}

std::string kernelName() {
    utsname names{};
    return uname(&names) == 0 ? std::string(names.sysname) + " " + names.release : "Linux";
}

} // namespace

OperatingSystem operatingSystem() {
    const std::string distribution = distributionName();
    const std::string version =
        distribution.empty() ? kernelName() : distribution + ", " + kernelName();
    return {OperatingSystemKind::Linux, fromUtf8(version)};
}

} // namespace Quarlen::Platform
