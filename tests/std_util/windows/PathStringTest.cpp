#include "std_util/PathString.hpp"

#include <gtest/gtest.h>

namespace StdUtil::Tests {

namespace {

TEST(PathStringOnWindows, KeepsTheShareThatItBeginsWith) {
    EXPECT_EQ(PathString(L"\\\\srv\\kel").append(L"config").wstr(), L"\\\\srv\\kel\\config");
}

TEST(PathStringOnWindows, IsReplacedByAComponentOnAShare) {
    EXPECT_EQ(PathString(L"C:\\kel").append(L"\\\\srv\\kel\\a.xml").wstr(), L"\\\\srv\\kel\\a.xml");
}

} // namespace

} // namespace StdUtil::Tests
