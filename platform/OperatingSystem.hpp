#pragma once

#include <string>

namespace Quarlen::Platform {

enum class OperatingSystemKind { Linux, Windows };

struct OperatingSystem {
    OperatingSystemKind kind = OperatingSystemKind::Linux;
    /// Name and version for people, for example "Debian GNU/Linux 12 (bookworm), Linux 6.1.0".
    std::wstring version;
};

/// The system that the program runs on.
OperatingSystem operatingSystem();

} // namespace Quarlen::Platform
