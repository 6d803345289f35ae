#include "platform/FreeAddress.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/ListeningSocket.hpp"
#include "platform/windows/ListenerTable.hpp"

namespace Quarlen::Platform {

namespace {

SocketAddress localAddress(const MIB_TCPROW2& row) {
    std::array<char, INET_ADDRSTRLEN> text{};
    in_addr address{};
    address.s_addr = row.dwLocalAddr;
    const char* const written = ::inet_ntop(AF_INET, &address, text.data(), text.size());
    return {.host = written != nullptr ? written : "",
            .port = ntohs(static_cast<u_short>(row.dwLocalPort))};
}

/// Whole tables, so that the memory is aligned as the system's structures need it. Empty when the
/// system does not give the table.
std::vector<MIB_TCPTABLE2> readTable(const TcpTableQuery& query) {
    constexpr int tries = 5;
    ULONG size = 0;
    std::vector<MIB_TCPTABLE2> memory;
    for (int attempt = 0; attempt < tries; ++attempt) {
        const ULONG result = query(memory.empty() ? nullptr : memory.data(), &size, FALSE);
        if (result == NO_ERROR && !memory.empty()) {
            return memory;
        }
        if (result != ERROR_INSUFFICIENT_BUFFER) {
            break;
        }
        memory.resize(size / sizeof(MIB_TCPTABLE2) + 1);
        size = static_cast<ULONG>(memory.size() * sizeof(MIB_TCPTABLE2));
    }
    return {};
}

} // namespace

std::optional<std::vector<SocketAddress>> listenersFrom(const TcpTableQuery& query) {
    const std::vector<MIB_TCPTABLE2> memory = readTable(query);
    if (memory.empty()) {
        return std::nullopt;
    }
    const MIB_TCPTABLE2& table = memory.front();
    const MIB_TCPROW2* const rows = table.table;
    std::vector<SocketAddress> listening;
    for (std::size_t index = 0; index < table.dwNumEntries; ++index) {
        if (rows[index].dwState == MIB_TCP_STATE_LISTEN) {
            listening.push_back(localAddress(rows[index]));
        }
    }
    return listening;
}

std::optional<std::vector<SocketAddress>> listeningAddresses() {
    return listenersFrom(::GetTcpTable2);
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
