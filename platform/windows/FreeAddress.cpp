#include "platform/FreeAddress.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/ListeningSocket.hpp"
#include "platform/windows/ListenerTable.hpp"

namespace Quarlen::Platform {

namespace {

SocketAddress socketAddress(ULONG host, DWORD port) {
    std::array<char, INET_ADDRSTRLEN> text{};
    in_addr address{};
    address.s_addr = host;
    const char* const written = ::inet_ntop(AF_INET, &address, text.data(), text.size());
    return {.host = written != nullptr ? written : "", .port = ntohs(static_cast<u_short>(port))};
}

void addListener(std::vector<SocketAddress>& listening, const MIB_TCPROW& row) {
    if (row.dwState == MIB_TCP_STATE_LISTEN) {
        listening.push_back(socketAddress(row.dwLocalAddr, row.dwLocalPort));
    }
}

/// Such a row has the IPv4 address that it stands for in its last four bytes.
void addListener(std::vector<SocketAddress>& listening, const MIB_TCP6ROW2& row) {
    if (row.State == MIB_TCP_STATE_LISTEN &&
        (IN6_IS_ADDR_UNSPECIFIED(&row.LocalAddr) || IN6_IS_ADDR_V4MAPPED(&row.LocalAddr))) {
        ULONG host = 0;
        std::memcpy(&host, &row.LocalAddr.s6_bytes[12], sizeof host);
        listening.push_back(socketAddress(host, row.dwLocalPort));
    }
}

/// Whole tables, so that the memory is aligned as the system's structures need it. Empty when the
/// system does not give the table.
template <class Table>
std::vector<Table> readTable(const std::function<ULONG(Table*, ULONG*, BOOL)>& query) {
    constexpr int tries = 5;
    ULONG size = 0;
    std::vector<Table> memory;
    for (int attempt = 0; attempt < tries; ++attempt) {
        const ULONG result = query(memory.empty() ? nullptr : memory.data(), &size, FALSE);
        if (result == NO_ERROR && !memory.empty()) {
            return memory;
        }
        if (result != ERROR_INSUFFICIENT_BUFFER) {
            break;
        }
        memory.resize(size / sizeof(Table) + 1);
        size = static_cast<ULONG>(memory.size() * sizeof(Table));
    }
    return {};
}

/// False when there is no table.
template <class Table>
bool addListeners(std::vector<SocketAddress>& listening, const std::vector<Table>& memory) {
    if (memory.empty()) {
        return false;
    }
    const Table& table = memory.front();
    const auto* const rows = table.table;
    for (std::size_t index = 0; index < table.dwNumEntries; ++index) {
        addListener(listening, rows[index]);
    }
    return true;
}

} // namespace

std::optional<std::vector<SocketAddress>> listenersFrom(const TcpTableQuery& query,
                                                        const Tcp6TableQuery& query6) {
    std::vector<SocketAddress> listening;
    if (!addListeners(listening, readTable(query))) {
        return std::nullopt;
    }
    addListeners(listening, readTable(query6));
    return listening;
}

std::optional<std::vector<SocketAddress>> listeningAddresses() {
    // Listeners alone: a machine may have thousands of connections, whose owners take time to find.
    const auto listenersOfIpv4 = [](MIB_TCPTABLE* table, ULONG* size, BOOL inOrder) {
        return ::GetExtendedTcpTable(table, size, inOrder, AF_INET, TCP_TABLE_BASIC_LISTENER, 0);
    };
    return listenersFrom(listenersOfIpv4, ::GetTcp6Table2);
}

std::error_code tryToBind(const SocketAddress& address) noexcept {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(static_cast<u_short>(address.port));
    if (::inet_pton(AF_INET, address.host.c_str(), &target.sin_addr) != 1) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    const SOCKET probe = ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                                      WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    bindExclusively(static_cast<std::intptr_t>(probe));
    std::error_code error;
    if (::bind(probe, reinterpret_cast<const sockaddr*>(&target), sizeof target) != 0) {
        error = {::WSAGetLastError(), std::system_category()};
    }
    ::closesocket(probe);
    return error;
}

bool isTaken(const std::error_code& error) noexcept {
    return error.value() == WSAEADDRINUSE;
}

} // namespace Quarlen::Platform
