#include "platform/windows/ListenerTable.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

/// A system with one connection on port 58000.
class ListenerTable : public testing::Test {
protected:
    std::optional<std::vector<SocketAddress>> read(DWORD state) {
        return listenersFrom([this, state](MIB_TCPTABLE2* table, ULONG* size, BOOL) -> ULONG {
            ++queries;
            if (table == nullptr || queries <= grownUntil) {
                *size = sizeof(MIB_TCPTABLE2);
                return sizeResult;
            }
            table->dwNumEntries = 1;
            table->table[0].dwState = state;
            table->table[0].dwLocalAddr = ::htonl(INADDR_LOOPBACK);
            table->table[0].dwLocalPort = ::htons(58000);
            return NO_ERROR;
        });
    }

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
