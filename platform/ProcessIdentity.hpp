#pragma once

#include <string>
#include <string_view>

namespace Quarlen::Platform {

/// A name of this process that no other process has, also not later or on another machine: letters
/// and digits, fit for a file name.
std::string processIdentity();

/// True when the process of that identity ran on this machine and does so no more. False when that
/// cannot be told.
bool hasEnded(std::string_view identity);

} // namespace Quarlen::Platform
