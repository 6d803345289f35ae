#include <cerrno>

#include <gtest/gtest.h>

#include "platform/SystemError.hpp"

namespace Quarlen::Platform::Tests {

namespace {

TEST(SystemMessage, HasTheCLibrarysWordsAndNumber) {
    EXPECT_EQ(errorText({EACCES, std::system_category()}), L"Permission denied (13)");
    EXPECT_EQ(errorText({EACCES, std::generic_category()}), L"Permission denied (13)");
}

TEST(SystemMessage, HasTheNumberOfAnErrorThatIsNotKnown) {
    EXPECT_EQ(errorText({7777, std::system_category()}), L"Unknown error 7777 (7777)");
}

} // namespace

} // namespace Quarlen::Platform::Tests
