#pragma once

#include <functional>
#include <vector>

// The socket headers must come before everything that uses their types.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Platform {

/// `GetAdaptersAddresses`: a null list asks for the size in bytes.
using AdapterQuery = std::function<ULONG(ULONG family, ULONG flags, void* reserved,
                                         IP_ADAPTER_ADDRESSES* list, ULONG* size)>;

/// The adapters in the system's order; none when either of the two calls fails.
std::vector<NetworkAdapter> adaptersFrom(const AdapterQuery& query);

} // namespace Quarlen::Platform
