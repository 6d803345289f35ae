#include "platform/linux/ListenerTable.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

constexpr const char* heading =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid\n";

std::vector<SocketAddress> listeners(const std::string& rows) {
    std::vector<SocketAddress> listening;
    appendListeners(heading + rows, listening);
    return listening;
}

TEST(ListenerTable, HasTheAddressesInTheStateListen) {
    const auto found = listeners("   0: 0100007F:E290 00000000:0000 0A 00000000:00000000\n"
                                 "   1: 0100007F:E291 0100007F:C350 05 00000000:00000000\n");

    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].host, "127.0.0.1");
    EXPECT_EQ(found[0].port, 58000);
}

TEST(ListenerTable, TakesThoseOfIpv6ThatServeIpv4) {
    const auto found = listeners("   0: 00000000000000000000000000000000:E290 0:0 0A\n"
                                 "   1: 0000000000000000FFFF00000100007F:E291 0:0 0A\n"
                                 "   2: 00000000000000000000000001000000:E292 0:0 0A\n");

    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].host, "0.0.0.0");
    EXPECT_EQ(found[1].host, "127.0.0.1");
    EXPECT_EQ(found[2].host, "");
}

TEST(ListenerTable, IgnoresLinesThatItDoesNotUnderstand) {
    EXPECT_TRUE(listeners("\n 0: x\n 1: 7F:E290 0:0 0A\n").empty());
    for (const std::string local :
         {"0100007F:", "0100007F:x", "0100007F:E290x", "0100007F:10000", "0100007F:-1",
          "0100007F:FFFFFFFFFFFFFFFFFF", "xxxxxxxx:E290", "0100007x:E290", "-100007F:E290"}) {
        EXPECT_TRUE(listeners(" 0: " + local + " 0:0 0A\n").empty()) << local;
    }
}

} // namespace

} // namespace Quarlen::Platform::Tests
