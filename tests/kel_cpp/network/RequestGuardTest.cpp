#include "kel_cpp/network/RequestGuard.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

const OwnNames own{{"192.0.2.1", "line-server"}, "58000"};

std::string refusal(const std::string& host, const std::string& origin = {}) {
    return refusalOf({false, false, host, origin}, own);
}

TEST(RequestGuard, TakesTheNamesOfTheServerInEachCase) {
    EXPECT_EQ(refusal("192.0.2.1:58000"), "");
    EXPECT_EQ(refusal("Line-Server:58000"), "");
}

TEST(RequestGuard, RefusesOtherNamesAndPorts) {
    EXPECT_EQ(refusal("evil.example:58000"), "this server is not \"evil.example:58000\"");
    EXPECT_NE(refusal("192.0.2.1:58001"), "");
    EXPECT_NE(refusal("192.0.2.1"), "");
    EXPECT_NE(refusal("line-server:58000.evil.example"), "");
    EXPECT_NE(refusal(""), "");
}

TEST(RequestGuard, TakesANameWithoutPortOnPort80) {
    const OwnNames onPort80{{"line-server"}, "80"};

    EXPECT_EQ(refusalOf({false, false, "line-server", {}}, onPort80), "");
    EXPECT_EQ(refusalOf({false, false, "line-server:80", {}}, onPort80), "");
}

TEST(RequestGuard, TakesItsOwnPagesOnly) {
    EXPECT_EQ(refusal("192.0.2.1:58000", "http://192.0.2.1:58000"), "");
    EXPECT_EQ(refusal("LINE-server:58000", "http://line-Server:58000"), "");
    EXPECT_EQ(refusal("192.0.2.1:58000", "http://evil.example"),
              "pages of \"http://evil.example\" may not use this server");
    EXPECT_NE(refusal("192.0.2.1:58000", "http://line-server:58000"), "");
    EXPECT_NE(refusal("192.0.2.1:58000", "https://192.0.2.1:58000"), "");
    EXPECT_NE(refusal("192.0.2.1:58000", "null"), "");
}

TEST(RequestGuard, CallsARequestLocalThatNobodyPassedOn) {
    EXPECT_TRUE(isLocal({true, false, {}, {}}));
    EXPECT_FALSE(isLocal({true, true, {}, {}}));
    EXPECT_FALSE(isLocal({false, false, {}, {}}));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
