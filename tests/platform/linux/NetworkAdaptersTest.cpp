#include "platform/NetworkAdapters.hpp"

#include <algorithm>
#include <net/if.h>
#include <set>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform::Tests {

namespace {

TEST(NetworkAdapters, ListTheLoopbackAsAnAdapterThatNobodyChooses) {
    const std::vector<NetworkAdapter> adapters = networkAdapters();
    const auto loopback = std::find_if(adapters.begin(), adapters.end(), [](const auto& adapter) {
        return adapter.systemName == L"lo";
    });
    if (loopback == adapters.end()) {
        GTEST_SKIP() << "this network namespace has no loopback adapter \"lo\"";
    }
    EXPECT_EQ(loopback->firstIpv4Address, L"127.0.0.1");
    EXPECT_EQ(loopback->hardwareAddressLength, 0U);
}

TEST(NetworkAdapters, ListEveryAdapterOnce) {
    std::set<std::wstring> names;
    for (const NetworkAdapter& adapter : networkAdapters()) {
        EXPECT_TRUE(names.insert(adapter.systemName).second) << toUtf8(adapter.systemName);
        EXPECT_NE(::if_nametoindex(toUtf8(adapter.systemName).c_str()), 0U);
    }
    EXPECT_FALSE(names.empty());
}

TEST(NetworkAdapters, NameTheKindByTheNamingSchemesOfTheKernel) {
    for (const NetworkAdapter& adapter : networkAdapters()) {
        const bool wired =
            adapter.systemName.starts_with(L"eth") || adapter.systemName.starts_with(L"en");
        EXPECT_EQ(adapter.friendlyName == L"Ethernet", wired);
        EXPECT_EQ(adapter.friendlyName == L"Wi-Fi", adapter.systemName.starts_with(L"wl"));
    }
}

} // namespace

} // namespace Quarlen::Platform::Tests
