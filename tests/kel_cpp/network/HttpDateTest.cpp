#include "kel_cpp/network/HttpDate.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

using namespace std::chrono;

TEST(HttpDate, IsTheDateOfTheStandardsExample) {
    const sys_days day{year{1994} / November / 6};
    EXPECT_EQ(httpDate(day + 8h + 49min + 37s), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(httpDate(day + 24h - 1ms), "Sun, 06 Nov 1994 23:59:59 GMT");
}

TEST(HttpDate, NamesEachDayAndMonth) {
    EXPECT_EQ(httpDate(sys_days{year{2026} / January / 31}), "Sat, 31 Jan 2026 00:00:00 GMT");
    EXPECT_EQ(httpDate(sys_days{year{2026} / December / 1}), "Tue, 01 Dec 2026 00:00:00 GMT");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
