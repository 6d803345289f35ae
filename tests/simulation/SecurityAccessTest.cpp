#include "simulation/SecurityAccess.hpp"

#include <set>

#include "tests/simulation/ControlUnitFixture.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

class SecurityAccessTest : public ControlUnitFixture {
protected:
    void SetUp() override { ask("10 03"); }

    std::string askWithWrongKey() {
        ask("27 01");
        return ask("27 02 00 00 00 00");
    }

    std::string askWithWrongKeyOfLevelThree() {
        ask("27 03");
        return ask("27 04 00 00 00 00");
    }
};

TEST_F(SecurityAccessTest, GivesFourByteSeedsThatDifferAndAreNeverZero) {
    std::set<std::string> seeds{"67 01 00 00 00 00"};
    for (int count = 0; count < 1000; ++count) {
        const auto seed = ask("27 01");
        EXPECT_EQ(seed.size(), std::string("67 01 00 00 00 00").size());
        EXPECT_TRUE(seeds.insert(seed).second) << seed;
    }
}

TEST_F(SecurityAccessTest, GivesTheSameSeedsInEveryRun) {
    SimulatedControlUnit second(smallControlUnit(), clock);
    second.handle(hex("10 03"));
    EXPECT_EQ(ask("27 01"), hex(second.handle(hex("27 01")).front().bytes));
}

TEST_F(SecurityAccessTest, UnlocksWithTheRightKey) {
    EXPECT_EQ(ask("31 01 02 05"), "7F 31 33");
    unlock(1, 0x5A3C96E1);
    EXPECT_EQ(ask("31 01 02 05"), "71 01 02 05");
}

TEST_F(SecurityAccessTest, GivesAnAllZeroSeedWhenUnlocked) {
    unlock(1, 0x5A3C96E1);
    EXPECT_EQ(ask("27 01"), "67 01 00 00 00 00");
}

TEST_F(SecurityAccessTest, GivesARealSeedForALevelThatIsStillLocked) {
    unlock(1, 0x5A3C96E1);
    EXPECT_NE(ask("27 03"), "67 03 00 00 00 00");
}

TEST_F(SecurityAccessTest, RefusesAKeyWithoutASeed) {
    EXPECT_EQ(ask("27 02 00 00 00 00"), "7F 27 24");
}

TEST_F(SecurityAccessTest, RefusesAKeyForTheSeedOfAnotherLevel) {
    ask("27 01");
    EXPECT_EQ(ask("27 04 00 00 00 00"), "7F 27 24");
}

TEST_F(SecurityAccessTest, RefusesASecondKeyForTheSameSeed) {
    askWithWrongKey();
    EXPECT_EQ(ask("27 02 00 00 00 00"), "7F 27 24");
}

TEST_F(SecurityAccessTest, ForgetsTheSeedWithTheSession) {
    ask("27 01");
    ask("10 03");
    EXPECT_EQ(ask("27 02 00 00 00 00"), "7F 27 24");
}

TEST_F(SecurityAccessTest, BlocksForTenSecondsAfterTheThirdWrongKey) {
    EXPECT_EQ(askWithWrongKey(), "7F 27 35");
    EXPECT_EQ(askWithWrongKey(), "7F 27 35");
    EXPECT_EQ(askWithWrongKey(), "7F 27 36");
    EXPECT_EQ(ask("27 01"), "7F 27 37");
    clock.advance(9999ms);
    ask("10 03");
    EXPECT_EQ(ask("27 01"), "7F 27 37");
    clock.advance(1ms);
    EXPECT_EQ(ask("27 01").substr(0, 5), "67 01");
}

TEST_F(SecurityAccessTest, CountsAnewAfterTheBlock) {
    for (int count = 0; count < 3; ++count) {
        askWithWrongKey();
    }
    clock.advance(10'000ms);
    ask("10 03");
    EXPECT_EQ(askWithWrongKey(), "7F 27 35");
    EXPECT_EQ(askWithWrongKey(), "7F 27 35");
    EXPECT_EQ(askWithWrongKey(), "7F 27 36");
}

TEST_F(SecurityAccessTest, KeepsTheBlockOverAReset) {
    for (int count = 0; count < 3; ++count) {
        askWithWrongKey();
    }
    ask("11 01");
    ask("10 03");
    EXPECT_EQ(ask("27 01"), "7F 27 37");
}

TEST_F(SecurityAccessTest, KeepsTheNumberOfWrongKeysOverAReset) {
    askWithWrongKey();
    askWithWrongKey();
    ask("11 01");
    ask("10 03");
    EXPECT_EQ(askWithWrongKey(), "7F 27 36");
}

TEST_F(SecurityAccessTest, CountsTheWrongKeysOfEachLevel) {
    askWithWrongKey();
    askWithWrongKey();
    EXPECT_EQ(askWithWrongKeyOfLevelThree(), "7F 27 35");
    EXPECT_EQ(askWithWrongKey(), "7F 27 36");
    EXPECT_EQ(askWithWrongKeyOfLevelThree(), "7F 27 35");
    EXPECT_EQ(askWithWrongKeyOfLevelThree(), "7F 27 36");
}

TEST_F(SecurityAccessTest, BlocksNoOtherLevel) {
    for (int count = 0; count < 3; ++count) {
        askWithWrongKey();
    }
    EXPECT_EQ(ask("27 01"), "7F 27 37");
    unlock(3, 0x01020304);
}

TEST_F(SecurityAccessTest, DoesNotForgetTheWrongKeysOfALevelWithTheRightOneOfAnother) {
    askWithWrongKey();
    askWithWrongKey();
    unlock(3, 0x01020304);
    EXPECT_EQ(askWithWrongKey(), "7F 27 36");
}

TEST_F(SecurityAccessTest, ForgetsWrongKeysAfterTheRightOne) {
    askWithWrongKey();
    askWithWrongKey();
    unlock(1, 0x5A3C96E1);
    ask("10 03");
    EXPECT_EQ(askWithWrongKey(), "7F 27 35");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
