#include "platform/NetworkAdapters.hpp"

#include <algorithm>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

bool hasAddress(const NetworkAdapter& adapter) {
    return adapter.up && !adapter.firstIpv4Address.empty();
}

TEST(NetworkAdapters, ListTheLoopbackAsAnAdapterThatNobodyChooses) {
    const std::vector<NetworkAdapter> adapters = networkAdapters();
    const auto loopback = std::find_if(adapters.begin(), adapters.end(), [](const auto& adapter) {
        return adapter.firstIpv4Address == L"127.0.0.1";
    });

    ASSERT_NE(loopback, adapters.end());
    EXPECT_EQ(loopback->hardwareAddressLength, 0U);
}

TEST(NetworkAdapters, HaveAFriendlyNameAndNoOther) {
    for (const NetworkAdapter& adapter : networkAdapters()) {
        EXPECT_EQ(adapter.systemName, L"");
        EXPECT_FALSE(adapter.friendlyName.empty());
    }
}

TEST(NetworkAdapters, GiveTheirAddressAsDottedText) {
    const std::vector<NetworkAdapter> adapters = networkAdapters();

    EXPECT_TRUE(std::any_of(adapters.begin(), adapters.end(), hasAddress));
    for (const NetworkAdapter& adapter : adapters) {
        EXPECT_EQ(
            std::count(adapter.firstIpv4Address.begin(), adapter.firstIpv4Address.end(), L'.'),
            adapter.firstIpv4Address.empty() ? 0 : 3);
    }
}

} // namespace

} // namespace Quarlen::Platform::Tests
