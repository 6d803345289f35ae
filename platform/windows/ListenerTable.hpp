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

/// `GetExtendedTcpTable` for IPv4, which gives the listeners alone: with too small a size it tells
/// the one that it needs.
using TcpTableQuery = std::function<ULONG(MIB_TCPTABLE* table, ULONG* size, BOOL inOrder)>;

/// `GetTcp6Table2`, likewise.
using Tcp6TableQuery = std::function<ULONG(MIB_TCP6TABLE2* table, ULONG* size, BOOL inOrder)>;

/// The addresses in the state LISTEN; none where the table is not given. A table that has grown
/// meanwhile is asked for again, a few times. One socket of IPv6 can serve IPv4, too: its address
/// is told as the one of IPv4 that it stands for, if any. A system without IPv6 has no such table.
std::optional<std::vector<SocketAddress>> listenersFrom(const TcpTableQuery& query,
                                                        const Tcp6TableQuery& query6);

} // namespace Quarlen::Platform
