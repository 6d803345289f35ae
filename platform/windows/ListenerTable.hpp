#pragma once

#include <functional>
#include <optional>
#include <vector>

// The socket headers must come before everything that uses their types.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Platform {

/// `GetTcpTable2`: with too small a size it tells the one that it needs.
using TcpTableQuery = std::function<ULONG(MIB_TCPTABLE2* table, ULONG* size, BOOL inOrder)>;

/// The addresses in the state LISTEN; none where the table is not given. A table that has grown
/// meanwhile is asked for again, a few times.
std::optional<std::vector<SocketAddress>> listenersFrom(const TcpTableQuery& query);

} // namespace Quarlen::Platform
