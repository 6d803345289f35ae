#pragma once

#include <cstdint>
#include <string>

namespace Quarlen::Platform {

struct ProcessStart {
    bool runs = false;
    /// When it started, in digits that no other process of the same number has; empty when the
    /// system does not tell.
    std::string time;
};

ProcessStart startOf(std::uint32_t process);
std::uint32_t ownProcess();
/// The machine's name in its network.
std::string machineName();

} // namespace Quarlen::Platform
