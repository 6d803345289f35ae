#include "platform/linux/AdapterList.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <deque>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

constexpr unsigned int operational = IFF_UP | IFF_RUNNING;

/// A made-up chain of the kernel's entries.
class Chain {
public:
    Chain& hardware(const std::string& name, const std::vector<unsigned char>& bytes,
                    unsigned int flags = operational) {
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_halen = static_cast<unsigned char>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), address.sll_addr);
        return add(name, flags, address);
    }

    Chain& ipv4(const std::string& name, const char* text, unsigned int flags = operational) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        EXPECT_EQ(::inet_pton(AF_INET, text, &address.sin_addr), 1);
        return add(name, flags, address);
    }

    Chain& ipv6(const std::string& name) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        return add(name, operational, address);
    }

    Chain& withoutAddress(const std::string& name) {
        entry(name, operational);
        return *this;
    }

    [[nodiscard]] std::vector<NetworkAdapter> adapters() const {
        return adaptersOf(entries.empty() ? nullptr : &entries.front());
    }

    /// Of a chain that tells of one adapter only.
    [[nodiscard]] NetworkAdapter onlyAdapter() const {
        const auto all = adapters();
        EXPECT_EQ(all.size(), 1U);
        return all.empty() ? NetworkAdapter() : all.front();
    }

private:
    ifaddrs& entry(const std::string& name, unsigned int flags) {
        ifaddrs& added = entries.emplace_back();
        added.ifa_name = names.emplace_back(name).data();
        added.ifa_flags = flags;
        if (entries.size() > 1) {
            entries[entries.size() - 2].ifa_next = &added;
        }
        return added;
    }

    template <class Address>
    Chain& add(const std::string& name, unsigned int flags, const Address& address) {
        static_assert(sizeof(Address) <= sizeof(sockaddr_storage));
        sockaddr_storage& storage = addresses.emplace_back();
        std::memcpy(&storage, &address, sizeof address);
        entry(name, flags).ifa_addr = reinterpret_cast<sockaddr*>(&storage);
        return *this;
    }

    // Deques, because the entries point into them while they grow.
    std::deque<ifaddrs> entries;
    std::deque<std::string> names;
    std::deque<sockaddr_storage> addresses;
};

const std::vector<unsigned char> mac{0x02, 0x42, 0, 0, 0, 0x07};

TEST(AdapterList, IsEmptyForAnEmptyChain) {
    EXPECT_TRUE(Chain().adapters().empty());
}

TEST(AdapterList, JoinsTheEntriesOfAnAdapter) {
    const auto adapter = Chain().hardware("eth0", mac).ipv4("eth0", "10.0.0.7").onlyAdapter();
    EXPECT_EQ(adapter.systemName, L"eth0");
    EXPECT_EQ(adapter.firstIpv4Address, L"10.0.0.7");
    EXPECT_EQ(adapter.hardwareAddressLength, 6U);
    EXPECT_TRUE(adapter.up);
}

TEST(AdapterList, KeepsTheOrderOfTheChain) {
    Chain chain;
    chain.hardware("wlan0", mac).hardware("eth0", mac);
    chain.ipv4("eth0", "10.0.0.7").ipv4("wlan0", "10.0.0.8");
    const auto adapters = chain.adapters();
    ASSERT_EQ(adapters.size(), 2U);
    EXPECT_EQ(adapters[0].systemName, L"wlan0");
    EXPECT_EQ(adapters[0].firstIpv4Address, L"10.0.0.8");
    EXPECT_EQ(adapters[1].systemName, L"eth0");
    EXPECT_EQ(adapters[1].firstIpv4Address, L"10.0.0.7");
}

TEST(AdapterList, HasNoAddressWhereTheFirstIsIpv6) {
    const auto adapter =
        Chain().hardware("eth0", mac).ipv6("eth0").ipv4("eth0", "10.0.0.7").onlyAdapter();
    EXPECT_EQ(adapter.firstIpv4Address, L"");
}

TEST(AdapterList, IgnoresTheAddressesBehindTheFirst) {
    Chain chain;
    chain.ipv4("eth0", "10.0.0.7").ipv4("eth0", "10.0.0.8").ipv6("eth0");
    EXPECT_EQ(chain.onlyAdapter().firstIpv4Address, L"10.0.0.7");
}

TEST(AdapterList, HasNoAddressForAnEntryWithoutOne) {
    const auto adapter = Chain().withoutAddress("tun0").onlyAdapter();
    EXPECT_EQ(adapter.firstIpv4Address, L"");
    EXPECT_EQ(adapter.hardwareAddressLength, 0U);
    EXPECT_TRUE(adapter.up);
}

TEST(AdapterList, TakesAHardwareAddressOfZerosForNone) {
    EXPECT_EQ(Chain()
                  .hardware("lo", {0, 0, 0, 0, 0, 0})
                  .ipv4("lo", "127.0.0.1")
                  .onlyAdapter()
                  .hardwareAddressLength,
              0U);
    EXPECT_EQ(Chain().hardware("tun0", {}).onlyAdapter().hardwareAddressLength, 0U);
    EXPECT_EQ(Chain().ipv4("tun0", "10.0.0.7").onlyAdapter().hardwareAddressLength, 0U);
}

class AdapterFlags : public testing::TestWithParam<std::pair<unsigned int, bool>> {};

TEST_P(AdapterFlags, TellWhetherItIsUp) {
    const auto [flags, up] = GetParam();
    const auto adapter =
        Chain().hardware("eth0", mac, flags).ipv4("eth0", "10.0.0.7", flags).onlyAdapter();
    EXPECT_EQ(adapter.up, up);
}

INSTANTIATE_TEST_SUITE_P(Flags, AdapterFlags,
                         testing::Values(std::pair{IFF_UP | IFF_RUNNING, true},
                                         std::pair{static_cast<unsigned int>(IFF_UP), false},
                                         std::pair{static_cast<unsigned int>(IFF_RUNNING), false},
                                         std::pair{0U, false},
                                         std::pair{operational | IFF_BROADCAST, true}));

class AdapterKind : public testing::TestWithParam<std::pair<const char*, const wchar_t*>> {};

TEST_P(AdapterKind, IsNamedByTheNamingScheme) {
    const auto [name, friendlyName] = GetParam();
    EXPECT_EQ(Chain().hardware(name, mac).onlyAdapter().friendlyName, friendlyName);
}

INSTANTIATE_TEST_SUITE_P(
    Names, AdapterKind,
    testing::Values(std::pair{"eth0", L"Ethernet"}, std::pair{"enp3s0", L"Ethernet"},
                    std::pair{"eno1", L"Ethernet"}, std::pair{"wlan0", L"Wi-Fi"},
                    std::pair{"wlp2s0", L"Wi-Fi"}, std::pair{"lo", L"lo"}, std::pair{"wg0", L"wg0"},
                    std::pair{"veth1", L"veth1"}, std::pair{"docker0", L"docker0"}));

} // namespace

} // namespace Quarlen::Platform::Tests
