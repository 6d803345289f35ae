#include "platform/HostAddresses.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

NetworkAdapter adapter(const std::wstring& friendlyName, const std::wstring& address) {
    NetworkAdapter made;
    made.friendlyName = friendlyName;
    made.up = true;
    made.firstIpv4Address = address;
    made.hardwareAddressLength = 6;
    return made;
}

TEST(HostAddresses, AreThoseOfTheSystemsResolver) {
    EXPECT_THAT(ipv4AddressesOf(L"localhost"), testing::Contains(L"127.0.0.1"));
}

TEST(HostAddresses, AreNoneOfAHostThatDoesNotExist) {
    EXPECT_THAT(ipv4AddressesOf(L"no such host.invalid"), testing::IsEmpty());
}

TEST(HostAddresses, AreNoneOfAHostThatHasOnlyOneOfIpv6) {
    EXPECT_THAT(ipv4AddressesOf(L"::1"), testing::IsEmpty());
}

TEST(PreferredAddress, IsThatOfAnAdapterThatPeopleCanReach) {
    NetworkAdapter down = adapter(L"Ethernet 2", L"10.0.0.2");
    down.up = false;
    NetworkAdapter tunnel = adapter(L"Tunnel", L"10.0.0.3");
    tunnel.hardwareAddressLength = 0;
    const std::vector<NetworkAdapter> adapters{
        adapter(L"vEthernet (Default Switch)", L"172.20.0.1"), down, tunnel,
        adapter(L"WLAN", L"192.168.1.2")};

    EXPECT_EQ(preferredAddress({L"172.20.0.1", L"10.0.0.2", L"10.0.0.3", L"192.168.1.2"}, adapters),
              L"192.168.1.2");
}

TEST(PreferredAddress, FollowsTheOrderOfTheResolver) {
    const std::vector<NetworkAdapter> adapters{adapter(L"Ethernet", L"10.0.0.2"),
                                               adapter(L"Wi-Fi", L"10.0.0.1")};

    EXPECT_EQ(preferredAddress({L"10.0.0.1", L"10.0.0.2"}, adapters), L"10.0.0.1");
}

TEST(PreferredAddress, IsTheFirstWhereNoAdapterHasOne) {
    EXPECT_EQ(preferredAddress({L"172.20.0.1", L"10.0.0.9"}, {adapter(L"Ethernet", L"10.0.0.2")}),
              L"172.20.0.1");
}

TEST(PreferredAddress, IsEmptyWithoutAnAddress) {
    EXPECT_EQ(preferredAddress({}, {adapter(L"Ethernet", L"10.0.0.2")}), L"");
}

} // namespace

} // namespace Quarlen::Platform::Tests
