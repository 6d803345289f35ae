#include "platform/LoopbackAddress.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

TEST(LoopbackAddress, OfIpv4HasAnyNumbersBehindTheFirst) {
    for (const char* const address : {"127.0.0.1", "127.0.0.0", "127.1.2.3", "127.255.255.255"}) {
        EXPECT_TRUE(isLoopbackIpv4(address)) << address;
    }
    for (const char* const address : {"", "126.255.255.255", "128.0.0.0", "1.0.0.127", "0.0.0.0",
                                      "127.0.0", "127.1", "127.0.0.256", "127.0.0.1 ", " 127.0.0.1",
                                      "127.0.0.1.", "2130706433", "::1", "localhost"}) {
        EXPECT_FALSE(isLoopbackIpv4(address)) << address;
    }
}

TEST(LoopbackAddress, OfIpv6IsOneInEachOfItsSpellings) {
    for (const char* const address :
         {"::1", "0:0:0:0:0:0:0:1", "0000::0001", "::0.0.0.1", "0::1"}) {
        EXPECT_TRUE(isLoopbackIpv6(address)) << address;
    }
    for (const char* const address : {"", "::", "::2", "1::1", "[::1]", "::1 ", "::1x", "127.0.0.1",
                                      "::ffff:127.0.0.1", "localhost"}) {
        EXPECT_FALSE(isLoopbackIpv6(address)) << address;
    }
}

} // namespace

} // namespace Quarlen::Platform::Tests
