#include "platform/windows/ListenerTable.hpp"

#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

/// A system with one connection on port 58000.
class ListenerTable : public testing::Test {
protected:
    std::optional<std::vector<SocketAddress>> read(DWORD state) {
        const auto ipv4 = [this, state](MIB_TCPTABLE* table, ULONG* size, BOOL) -> ULONG {
            ++queries;
            if (table == nullptr || queries <= grownUntil) {
                *size = sizeof(MIB_TCPTABLE);
                return sizeResult;
            }
            table->dwNumEntries = 1;
            table->table[0].dwState = state;
            table->table[0].dwLocalAddr = ::htonl(INADDR_LOOPBACK);
            table->table[0].dwLocalPort = ::htons(58000);
            return NO_ERROR;
        };
        return listenersFrom(ipv4, [this, state](MIB_TCP6TABLE2* table, ULONG* size, BOOL) {
            return readIpv6(state, table, size);
        });
    }
    ULONG readIpv6(DWORD state, MIB_TCP6TABLE2* table, ULONG* size) const {
        if (ipv6Address.empty()) {
            return ERROR_NOT_SUPPORTED;
        }
        if (table == nullptr) {
            *size = sizeof(MIB_TCP6TABLE2);
            return ERROR_INSUFFICIENT_BUFFER;
        }
        table->dwNumEntries = 1;
        table->table[0].State = static_cast<MIB_TCP_STATE>(state);
        ::inet_pton(AF_INET6, ipv6Address.c_str(), &table->table[0].LocalAddr);
        table->table[0].dwLocalPort = ::htons(58001);
        return NO_ERROR;
    }
    /// Empty when it is none that can take clients of IPv4.
    std::string hostOfIpv6Listener(const std::string& address) {
        ipv6Address = address;
        queries = 0;
        const auto found = read(MIB_TCP_STATE_LISTEN);
        return found && found->size() == 2 && found->back().port == 58001 ? found->back().host : "";
    }

    /// Of a second connection, on port 58001; empty for a system without IPv6.
    std::string ipv6Address;
    int queries = 0;
    int grownUntil = 1;
    ULONG sizeResult = ERROR_INSUFFICIENT_BUFFER;
};

TEST_F(ListenerTable, HasTheAddressesInTheStateListen) {
    const auto found = read(MIB_TCP_STATE_LISTEN);

    ASSERT_TRUE(found);
    ASSERT_EQ(found->size(), 1U);
    EXPECT_EQ(found->front().host, "127.0.0.1");
    EXPECT_EQ(found->front().port, 58000);
}

TEST_F(ListenerTable, LeavesOldConnectionsOut) {
    const auto found = read(MIB_TCP_STATE_FIN_WAIT2);

    ASSERT_TRUE(found);
    EXPECT_TRUE(found->empty());
}

TEST_F(ListenerTable, HasTheAddressesOfIpv6ThatServeIpv4Too) {
    EXPECT_EQ(hostOfIpv6Listener("::"), "0.0.0.0");
    EXPECT_EQ(hostOfIpv6Listener("::ffff:127.0.0.1"), "127.0.0.1");
    EXPECT_EQ(hostOfIpv6Listener("::1"), "");
    EXPECT_EQ(hostOfIpv6Listener("2001:db8::1"), "");
}

TEST_F(ListenerTable, LeavesOldConnectionsOfIpv6Out) {
    ipv6Address = "::";

    const auto found = read(MIB_TCP_STATE_FIN_WAIT2);

    ASSERT_TRUE(found);
    EXPECT_TRUE(found->empty());
}

TEST_F(ListenerTable, IsAskedForAgainWhenItHasGrown) {
    grownUntil = 3;

    EXPECT_TRUE(read(MIB_TCP_STATE_LISTEN));
    EXPECT_EQ(queries, 4);
}

TEST_F(ListenerTable, IsNoneWhereItIsNotGiven) {
    sizeResult = ERROR_NOT_SUPPORTED;

    EXPECT_FALSE(read(MIB_TCP_STATE_LISTEN));
    EXPECT_EQ(queries, 1);
}

TEST_F(ListenerTable, IsNotAskedForWithoutAnEnd) {
    grownUntil = 1'000'000;

    EXPECT_FALSE(read(MIB_TCP_STATE_LISTEN));
    EXPECT_LE(queries, 5);
}

} // namespace

} // namespace Quarlen::Platform::Tests
