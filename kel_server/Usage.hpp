#pragma once

#include <string>

#include "platform/Console.hpp"

namespace Quarlen {

/// `programPath` is shown without its directory.
void printUsage(Platform::Console& console, const std::wstring& programPath);

} // namespace Quarlen
