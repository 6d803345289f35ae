#include <gtest/gtest.h>

#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Platform::Tests {

namespace {

NetworkAdapter usable(std::wstring friendlyName, std::wstring address) {
    NetworkAdapter adapter;
    adapter.friendlyName = std::move(friendlyName);
    adapter.up = true;
    adapter.firstIpv4Address = std::move(address);
    adapter.hardwareAddressLength = 6;
    return adapter;
}

NetworkAdapter described(std::wstring friendlyName, std::wstring description,
                         std::wstring address) {
    NetworkAdapter adapter = usable(std::move(friendlyName), std::move(address));
    adapter.description = std::move(description);
    return adapter;
}

NetworkAdapter named(std::wstring systemName, std::wstring friendlyName, std::wstring address) {
    NetworkAdapter adapter = usable(std::move(friendlyName), std::move(address));
    adapter.systemName = std::move(systemName);
    return adapter;
}

struct NameCase {
    const wchar_t* address;
    bool isName;
};

class AdapterName : public testing::TestWithParam<NameCase> {};

TEST_P(AdapterName, IsOneOfThePrefixesAndAtLeastOneCharacter) {
    EXPECT_EQ(isAdapterName(GetParam().address), GetParam().isName);
}

INSTANTIATE_TEST_SUITE_P(Addresses, AdapterName,
                         testing::Values(NameCase{L"wg0", true}, NameCase{L"wg", false},
                                         NameCase{L"eth0", true}, NameCase{L"eth", false},
                                         NameCase{L"wlan0", true}, NameCase{L"wlan", false},
                                         NameCase{L"ethernet", true}, NameCase{L"Eth0", false},
                                         NameCase{L"veth0", false}, NameCase{L"enp3s0", false},
                                         NameCase{L"127.0.0.1", false}, NameCase{L"", false}));

TEST(AdapterChoice, TakesTheFirstEthernetAdapterWhateverTheNumberInTheName) {
    const std::vector<NetworkAdapter> adapters{usable(L"Wi-Fi", L"10.0.0.1"),
                                               usable(L"Ethernet", L"10.0.0.2"),
                                               usable(L"Ethernet 2", L"10.0.0.3")};
    EXPECT_EQ(chooseAdapterAddress(L"eth1", adapters), L"10.0.0.2");
}

TEST(AdapterChoice, TakesTheWirelessAdapterForAWlanName) {
    const std::vector<NetworkAdapter> adapters{usable(L"Ethernet", L"10.0.0.2"),
                                               usable(L"Wi-Fi", L"10.0.0.1")};
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", adapters), L"10.0.0.1");
}

TEST(AdapterChoice, LetsWirelessWinWhenTheNameMeansBothKinds) {
    const std::vector<NetworkAdapter> adapters{usable(L"Ethernet", L"10.0.0.2"),
                                               usable(L"Wi-Fi", L"10.0.0.1")};
    EXPECT_EQ(chooseAdapterAddress(L"ethwlan", adapters), L"10.0.0.1");
}

TEST(AdapterChoice, FindsTheKindInTheDescriptionAsWell) {
    const std::vector<NetworkAdapter> adapters{
        described(L"Dock", L"USB Ethernet Adapter", L"10.0.0.4"),
        described(L"Radio", L"Wireless Network Adapter", L"10.0.0.5")};
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"10.0.0.4");
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", adapters), L"10.0.0.5");
}

TEST(AdapterChoice, FindsTheKindAnywhereInTheTexts) {
    const std::vector<NetworkAdapter> adapters{usable(L"Local Ethernet", L"10.0.0.4"),
                                               usable(L"My Wi-Fi", L"10.0.0.5")};
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"10.0.0.4");
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", adapters), L"10.0.0.5");

    const NetworkAdapter radio = described(L"Radio", L"Dual Band Wireless AC", L"10.0.0.6");
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", {radio}), L"10.0.0.6");
}

TEST(AdapterChoice, FindsTheKindOnlyByItsWholeWord) {
    const std::vector<NetworkAdapter> adapters{described(L"Etherlink", L"Ether", L"10.0.0.4"),
                                               described(L"WiFi", L"Wire", L"10.0.0.5")};
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"");
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", adapters), L"");
}

TEST(AdapterChoice, DoesNotTakeTheFriendlyWordsFromTheOtherText) {
    const std::vector<NetworkAdapter> adapters{described(L"Wireless", L"Wi-Fi", L"10.0.0.5")};
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", adapters), L"");
}

TEST(AdapterChoice, ComparesCaseSensitively) {
    const std::vector<NetworkAdapter> adapters{
        described(L"ethernet", L"ETHERNET wireless wi-fi", L"10.0.0.6")};
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"");
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", adapters), L"");
}

TEST(AdapterChoice, NeverTakesAVirtualSwitch) {
    const std::vector<NetworkAdapter> adapters{
        usable(L"vEthernet (Default Switch)", L"172.16.0.1"),
        described(L"vEthernet (WLAN)", L"Wireless", L"172.16.0.2")};
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"");
    EXPECT_EQ(chooseAdapterAddress(L"wlan0", adapters), L"");
}

TEST(AdapterChoice, KnowsAVirtualSwitchByItsFriendlyNameAlone) {
    const NetworkAdapter virtualSwitch =
        described(L"My vEthernet (Ethernet)", L"Ethernet", L"172.16.0.1");
    EXPECT_EQ(chooseAdapterAddress(L"eth0", {virtualSwitch}), L"");

    const NetworkAdapter adapter = described(L"Ethernet", L"vEthernet", L"10.0.0.2");
    EXPECT_EQ(chooseAdapterAddress(L"eth0", {adapter}), L"10.0.0.2");
}

TEST(AdapterChoice, NeverResolvesANameThatMeansNoKind) {
    const std::vector<NetworkAdapter> adapters{named(L"wg0", L"Ethernet", L"10.0.0.2"),
                                               usable(L"Wi-Fi", L"10.0.0.1")};
    EXPECT_EQ(chooseAdapterAddress(L"wg0", adapters), L"");
}

TEST(AdapterChoice, SkipsAnAdapterThatIsDown) {
    std::vector<NetworkAdapter> adapters{usable(L"Ethernet", L"10.0.0.2"),
                                         usable(L"Ethernet 2", L"10.0.0.3")};
    adapters.front().up = false;
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"10.0.0.3");
}

TEST(AdapterChoice, SkipsAnAdapterWithoutAnIpv4Address) {
    const std::vector<NetworkAdapter> adapters{usable(L"Ethernet", L""),
                                               usable(L"Ethernet 2", L"10.0.0.3")};
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"10.0.0.3");
}

TEST(AdapterChoice, SkipsAnAdapterWithoutAHardwareAddress) {
    std::vector<NetworkAdapter> adapters{usable(L"Ethernet", L"10.0.0.2"),
                                         usable(L"Ethernet 2", L"10.0.0.3")};
    adapters.front().hardwareAddressLength = 0;
    EXPECT_EQ(chooseAdapterAddress(L"eth0", adapters), L"10.0.0.3");
}

TEST(AdapterChoice, TakesAHardwareAddressOfAnyLength) {
    NetworkAdapter adapter = usable(L"Ethernet", L"10.0.0.2");
    adapter.hardwareAddressLength = 1;
    EXPECT_EQ(chooseAdapterAddress(L"eth0", {adapter}), L"10.0.0.2");
}

TEST(AdapterChoice, PrefersTheAdapterThatHasExactlyTheAskedName) {
    const std::vector<NetworkAdapter> adapters{named(L"eth0", L"Ethernet", L"10.0.0.2"),
                                               named(L"eth1", L"Ethernet", L"10.0.0.3")};
    EXPECT_EQ(chooseAdapterAddress(L"eth1", adapters), L"10.0.0.3");
    EXPECT_EQ(chooseAdapterAddress(L"eth7", adapters), L"10.0.0.2");
}

TEST(AdapterChoice, FallsBackToTheKindWhenTheNamedAdapterIsNotUsable) {
    std::vector<NetworkAdapter> adapters{named(L"eth0", L"Ethernet", L"10.0.0.2"),
                                         named(L"eth1", L"Ethernet", L"10.0.0.3")};
    adapters.back().up = false;
    EXPECT_EQ(chooseAdapterAddress(L"eth1", adapters), L"10.0.0.2");
}

TEST(AdapterChoice, GivesNothingForAnEmptyList) {
    EXPECT_EQ(chooseAdapterAddress(L"eth0", {}), L"");
}

} // namespace

} // namespace Quarlen::Platform::Tests
