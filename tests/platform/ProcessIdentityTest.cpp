#include "platform/ProcessIdentity.hpp"

#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {
namespace {

TEST(ProcessIdentity, OfThisProcessHasNotEnded) {
    EXPECT_FALSE(hasEnded(processIdentity()));
    EXPECT_EQ(processIdentity(), processIdentity());
}

TEST(ProcessIdentity, FitsIntoAFileName) {
    EXPECT_EQ(processIdentity().find_first_not_of("0123456789abcdefps"), std::string::npos)
        << processIdentity();
}

TEST(ProcessIdentity, OfAFormerProcessOfTheSameNumberHasEnded) {
    EXPECT_TRUE(hasEnded(processIdentity() + "1"));
}

TEST(ProcessIdentity, OfANumberThatNoProcessHasHasEnded) {
    std::string identity = processIdentity();
    const auto number = identity.find('p') + 1;
    // Beyond the numbers that either system gives.
    identity.replace(number, identity.find('s') - number, "2147483646");

    EXPECT_TRUE(hasEnded(identity));
}

TEST(ProcessIdentity, OfAnotherMachineIsNotKnownToHaveEnded) {
    std::string identity = processIdentity() + "1";
    identity[0] = identity[0] == '0' ? '1' : '0';

    EXPECT_FALSE(hasEnded(identity));
}

TEST(ProcessIdentity, ThatMakesNoSenseIsNotKnownToHaveEnded) {
    const std::string identity = processIdentity();
    for (const std::string& text :
         {std::string(), identity.substr(0, 8), identity.substr(0, identity.find('s')),
          identity.substr(0, 8) + "ps1", identity.substr(0, 8) + "p12xs1",
          identity.substr(0, 8) + "p99999999999s1"}) {
        EXPECT_FALSE(hasEnded(text)) << text;
    }
}

} // namespace
} // namespace Quarlen::Platform::Tests
