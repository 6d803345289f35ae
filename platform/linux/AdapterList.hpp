#pragma once

#include <ifaddrs.h>
#include <vector>

#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Platform {

/// The adapters of a chain as the kernel gives it, each once, in the order of their first entries;
/// `first` may be null.
std::vector<NetworkAdapter> adaptersOf(const ifaddrs* first);

} // namespace Quarlen::Platform
