#include <algorithm>
#include <array>
#include <string_view>

#include "platform/HostAddresses.hpp"
#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Platform {
namespace {

enum class AdapterKind { None, Ethernet, Wireless };

/// Tested in this order; the rest of the name plays no part.
constexpr std::array<std::wstring_view, 3> adapterPrefixes{L"wg", L"eth", L"wlan"};

bool contains(const std::wstring& text, std::wstring_view part) {
    return text.find(part) != std::wstring::npos;
}

AdapterKind kindMeantBy(const std::wstring& name) {
    if (contains(name, L"wlan")) {
        return AdapterKind::Wireless;
    }
    return contains(name, L"eth") ? AdapterKind::Ethernet : AdapterKind::None;
}

bool isOfKind(const NetworkAdapter& adapter, AdapterKind kind) {
    switch (kind) {
    case AdapterKind::Ethernet:
        return contains(adapter.friendlyName, L"Ethernet") ||
               contains(adapter.description, L"Ethernet");
    case AdapterKind::Wireless:
        return contains(adapter.friendlyName, L"Wi-Fi") ||
               contains(adapter.description, L"Wireless");
    case AdapterKind::None:
        break;
    }
    return false;
}

bool isVirtualSwitch(const NetworkAdapter& adapter) {
    return contains(adapter.friendlyName, L"vEthernet");
}

bool isUsable(const NetworkAdapter& adapter) {
    return adapter.up && !adapter.firstIpv4Address.empty() && adapter.hardwareAddressLength > 0;
}

bool isReachableAt(const NetworkAdapter& adapter, const std::wstring& address) {
    return isUsable(adapter) && !isVirtualSwitch(adapter) && adapter.firstIpv4Address == address;
}

} // namespace

std::wstring preferredAddress(const std::vector<std::wstring>& addresses,
                              const std::vector<NetworkAdapter>& adapters) {
    const auto found =
        std::find_if(addresses.begin(), addresses.end(), [&](const std::wstring& address) {
            return std::any_of(adapters.begin(), adapters.end(), [&](const auto& adapter) {
                return isReachableAt(adapter, address);
            });
        });
    if (found != addresses.end()) {
        return *found;
    }
    return addresses.empty() ? std::wstring() : addresses.front();
}

bool isAdapterName(const std::wstring& address) {
    return std::any_of(adapterPrefixes.begin(), adapterPrefixes.end(),
                       [&address](std::wstring_view prefix) {
                           return address.size() > prefix.size() && address.starts_with(prefix);
                       });
}

std::wstring chooseAdapterAddress(const std::wstring& name,
                                  const std::vector<NetworkAdapter>& adapters) {
    const AdapterKind kind = kindMeantBy(name);
    const NetworkAdapter* chosen = nullptr;
    for (const NetworkAdapter& adapter : adapters) {
        if (!isUsable(adapter) || !isOfKind(adapter, kind) || isVirtualSwitch(adapter)) {
            continue;
        }
        if (adapter.systemName == name) {
            return adapter.firstIpv4Address;
        }
        chosen = chosen == nullptr ? &adapter : chosen;
    }
    return chosen != nullptr ? chosen->firstIpv4Address : std::wstring();
}

} // namespace Quarlen::Platform
