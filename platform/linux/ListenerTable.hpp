#pragma once

#include <string>
#include <vector>

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Platform {

/// Appends the listening addresses of a table as the kernel writes it in /proc/net/tcp and
/// /proc/net/tcp6. Of IPv6 only those count that take clients of IPv4, too.
void appendListeners(const std::string& table, std::vector<SocketAddress>& listening);

} // namespace Quarlen::Platform
