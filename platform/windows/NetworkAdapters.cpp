#include "platform/NetworkAdapters.hpp"

#include <array>
#include <cstddef>

#include "platform/TextEncoding.hpp"
#include "platform/windows/AdapterList.hpp"

namespace Quarlen::Platform {
namespace {

constexpr ULONG family = AF_INET;
constexpr ULONG flags = GAA_FLAG_INCLUDE_PREFIX;
constexpr std::size_t addressTextSize = 100;

/// Whole adapter records, so that the memory is aligned as the system's structures need it.
using AdapterMemory = std::vector<IP_ADAPTER_ADDRESSES>;

/// Empty when the system does not give the list.
AdapterMemory readAdapters(const AdapterQuery& query) {
    ULONG size = 0;
    if (query(family, flags, nullptr, nullptr, &size) != ERROR_BUFFER_OVERFLOW) {
        return {};
    }
    AdapterMemory memory(size / sizeof(IP_ADAPTER_ADDRESSES) + 1);
    size = static_cast<ULONG>(memory.size() * sizeof(IP_ADAPTER_ADDRESSES));
    if (query(family, flags, nullptr, memory.data(), &size) != NO_ERROR) {
        return {};
    }
    return memory;
}

std::wstring firstIpv4Address(const IP_ADAPTER_ADDRESSES& adapter) {
    // An address that is tentative is still looked for in the network, and cannot be bound so far.
    if (adapter.FirstUnicastAddress == nullptr ||
        adapter.FirstUnicastAddress->DadState == IpDadStateTentative) {
        return {};
    }
    const sockaddr* const address = adapter.FirstUnicastAddress->Address.lpSockaddr;
    if (address == nullptr || address->sa_family != AF_INET) {
        return {};
    }
    std::array<char, addressTextSize> text{};
    const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(address);
    const char* const written = ::inet_ntop(AF_INET, &ipv4.sin_addr, text.data(), text.size());
    return written != nullptr ? fromUtf8(written) : std::wstring();
}

std::wstring textOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

NetworkAdapter convert(const IP_ADAPTER_ADDRESSES& adapter) {
    NetworkAdapter converted;
    converted.friendlyName = textOf(adapter.FriendlyName);
    converted.description = textOf(adapter.Description);
    converted.up = adapter.OperStatus == IfOperStatusUp;
    converted.firstIpv4Address = firstIpv4Address(adapter);
    converted.hardwareAddressLength = adapter.PhysicalAddressLength;
    return converted;
}

} // namespace

std::vector<NetworkAdapter> adaptersFrom(const AdapterQuery& query) {
    const AdapterMemory memory = readAdapters(query);
    std::vector<NetworkAdapter> adapters;
    const IP_ADAPTER_ADDRESSES* adapter = memory.empty() ? nullptr : memory.data();
    for (; adapter != nullptr; adapter = adapter->Next) {
        adapters.push_back(convert(*adapter));
    }
    return adapters;
}

std::vector<NetworkAdapter> networkAdapters() {
    return adaptersFrom(::GetAdaptersAddresses);
}

} // namespace Quarlen::Platform
