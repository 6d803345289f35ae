#include "platform/windows/AdapterList.hpp"

#include <array>
#include <vector>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

/// What the system gives for two adapters, and how often it was asked.
class AdapterList : public testing::Test {
protected:
    AdapterList() {
        first.FriendlyName = firstName.data();
        first.Description = firstDescription.data();
        first.OperStatus = IfOperStatusUp;
        first.PhysicalAddressLength = 6;
        first.FirstUnicastAddress = &address;
        first.Next = &second;
        second.OperStatus = IfOperStatusDown;
        ipv4.sin_family = AF_INET;
        ipv4.sin_addr.S_un.S_addr = ::htonl(0xC0A80102);
        address.Address.lpSockaddr = reinterpret_cast<sockaddr*>(&ipv4);
    }

    std::vector<NetworkAdapter> read() {
        return adaptersFrom([this](ULONG family, ULONG flags, void* reserved,
                                   IP_ADAPTER_ADDRESSES* list, ULONG* size) -> ULONG {
            ++queries;
            EXPECT_EQ(family, ULONG{AF_INET});
            EXPECT_EQ(flags, ULONG{GAA_FLAG_INCLUDE_PREFIX});
            EXPECT_EQ(reserved, nullptr);
            if (list == nullptr) {
                *size = neededSize;
                return sizeResult;
            }
            givenSize = *size;
            *list = first;
            return listResult;
        });
    }

    std::array<wchar_t, 9> firstName{L"Ethernet"};
    std::array<wchar_t, 5> firstDescription{L"Fast"};
    sockaddr_in ipv4{};
    IP_ADAPTER_UNICAST_ADDRESS address{};
    IP_ADAPTER_ADDRESSES first{};
    IP_ADAPTER_ADDRESSES second{};
    ULONG neededSize = 15000;
    ULONG sizeResult = ERROR_BUFFER_OVERFLOW;
    ULONG listResult = NO_ERROR;
    ULONG givenSize = 0;
    int queries = 0;
};

TEST_F(AdapterList, IsAskedForItsSizeAndThenForItsContent) {
    const std::vector<NetworkAdapter> adapters = read();

    EXPECT_EQ(queries, 2);
    EXPECT_GE(givenSize, neededSize);
    ASSERT_EQ(adapters.size(), 2U);
    EXPECT_EQ(adapters[0].friendlyName, L"Ethernet");
    EXPECT_EQ(adapters[0].description, L"Fast");
    EXPECT_TRUE(adapters[0].up);
    EXPECT_EQ(adapters[0].hardwareAddressLength, 6U);
    EXPECT_EQ(adapters[0].firstIpv4Address, L"192.168.1.2");
    EXPECT_EQ(adapters[1].friendlyName, L"");
    EXPECT_FALSE(adapters[1].up);
    EXPECT_EQ(adapters[1].firstIpv4Address, L"");
}

TEST_F(AdapterList, IsEmptyWithoutAnAdapter) {
    sizeResult = ERROR_NO_DATA;

    EXPECT_TRUE(read().empty());
    EXPECT_EQ(queries, 1);
}

TEST_F(AdapterList, IsEmptyWhereTheFirstAnswerIsAnythingButTheSize) {
    sizeResult = NO_ERROR;

    EXPECT_TRUE(read().empty());
    EXPECT_EQ(queries, 1);
}

TEST_F(AdapterList, IsEmptyWhereItsContentIsNotGiven) {
    for (const ULONG result : {ULONG{ERROR_BUFFER_OVERFLOW}, ULONG{ERROR_NOT_ENOUGH_MEMORY}}) {
        listResult = result;

        EXPECT_TRUE(read().empty()) << result;
    }
}

TEST_F(AdapterList, HasNoAddressWhereTheFirstIsOfAnotherFamily) {
    ipv4.sin_family = AF_INET6;

    EXPECT_EQ(read().at(0).firstIpv4Address, L"");
}

TEST_F(AdapterList, HasNoAddressYetWhereTheFirstIsTentative) {
    address.DadState = IpDadStateTentative;
    EXPECT_EQ(read().at(0).firstIpv4Address, L"");

    address.DadState = IpDadStatePreferred;
    EXPECT_EQ(read().at(0).firstIpv4Address, L"192.168.1.2");
}

TEST_F(AdapterList, HasNoAddressWhereTheFirstIsEmpty) {
    address.Address.lpSockaddr = nullptr;

    EXPECT_EQ(read().at(0).firstIpv4Address, L"");
}

} // namespace

} // namespace Quarlen::Platform::Tests
