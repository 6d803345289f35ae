#include "platform/NetworkAdapters.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <set>

#include "platform/TextEncoding.hpp"
#include "platform/linux/AdapterList.hpp"

namespace Quarlen::Platform {
namespace {

struct AddressListFree {
    void operator()(ifaddrs* list) const noexcept { ::freeifaddrs(list); }
};

/// Maps the kernel's adapter names to the words by which adapters are chosen.
std::wstring friendlyNameOf(const std::wstring& systemName) {
    if (systemName.starts_with(L"eth") || systemName.starts_with(L"en")) {
        return L"Ethernet";
    }
    return systemName.starts_with(L"wl") ? L"Wi-Fi" : systemName;
}

std::wstring dottedText(const sockaddr_in& address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    const char* const written =
        ::inet_ntop(AF_INET, &address.sin_addr, text.data(), static_cast<socklen_t>(text.size()));
    return written != nullptr ? fromUtf8(written) : std::wstring();
}

/// One entry per adapter and address: the hardware addresses first, then the addresses in order.
class AdapterList {
public:
    void add(const ifaddrs& entry) {
        NetworkAdapter& adapter = find(fromUtf8(entry.ifa_name));
        // The adapter has to be running, too: without its cable it is not operational.
        constexpr unsigned int operational = IFF_UP | IFF_RUNNING;
        adapter.up = (entry.ifa_flags & operational) == operational;
        if (entry.ifa_addr == nullptr) {
            return;
        }
        if (entry.ifa_addr->sa_family == AF_PACKET) {
            adapter.hardwareAddressLength = hardwareAddressLength(*entry.ifa_addr);
        } else if (addressed.insert(adapter.systemName).second &&
                   entry.ifa_addr->sa_family == AF_INET) {
            adapter.firstIpv4Address =
                dottedText(*reinterpret_cast<const sockaddr_in*>(entry.ifa_addr));
        }
    }

    [[nodiscard]] std::vector<NetworkAdapter> take() { return std::move(adapters); }

private:
    /// The hardware address of loopback is six zeros, which counts as none.
    static std::size_t hardwareAddressLength(const sockaddr& address) {
        const auto& hardware = reinterpret_cast<const sockaddr_ll&>(address);
        const std::size_t length =
            std::min<std::size_t>(hardware.sll_halen, sizeof hardware.sll_addr);
        const auto* const end = hardware.sll_addr + length;
        const bool allZero =
            std::all_of(hardware.sll_addr, end, [](auto byte) { return byte == 0; });
        return allZero ? 0 : length;
    }

    NetworkAdapter& find(const std::wstring& systemName) {
        const auto found =
            std::find_if(adapters.begin(), adapters.end(), [&systemName](const auto& adapter) {
                return adapter.systemName == systemName;
            });
        if (found != adapters.end()) {
            return *found;
        }
        NetworkAdapter& adapter = adapters.emplace_back();
        adapter.systemName = systemName;
        adapter.friendlyName = friendlyNameOf(systemName);
        return adapter;
    }

    std::vector<NetworkAdapter> adapters;
    std::set<std::wstring> addressed;
};

} // namespace

std::vector<NetworkAdapter> adaptersOf(const ifaddrs* first) {
    AdapterList adapters;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        adapters.add(*entry);
    }
    return adapters.take();
}

std::vector<NetworkAdapter> networkAdapters() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, AddressListFree> list(first);
    return adaptersOf(list.get());
}

} // namespace Quarlen::Platform
