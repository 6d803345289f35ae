#include <gmock/gmock.h>

#include "tests/kel_server/ServerStartFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using Tests::WaitedLongEnough;

/// The configuration grows by an entry with every start, so that there are always untried ones.
class GrowingConfiguration : public Tests::ServerStartFixture {
protected:
    GrowingConfiguration() {
        configureAddress(L"10.0.0.5");
        giveUpAfter(10);
        api->during("startServer", [this] {
            if (state.serverConfiguration->serverAddresses.size() < enough) {
                configureAddress(L"10.0.0.5");
            }
            throw Kel_cpp::KelApiException(L"no network", 101);
        });
    }

    std::size_t enough = 1U << 20U;
};

TEST_F(GrowingConfiguration, IsTriedTenTimesInStepsOfOneSecond) {
    state.brokerUrlPresent = true;
    configureAddress(L"10.0.0.6");

    EXPECT_THROW(fromConfiguration(), WaitedLongEnough);

    std::vector<milliseconds> expected(9, milliseconds(1000));
    expected.emplace_back(3000);
    EXPECT_EQ(clock.sleeps(), expected);
    EXPECT_FALSE(state.brokerUrlPresent);
}

TEST_F(GrowingConfiguration, IsTriedOnceWhenTheFirstEntryIsTheBroker) {
    state.brokerUrlPresent = true;

    EXPECT_THROW(fromConfiguration(), WaitedLongEnough);

    // Of each later pass every entry is tried at once.
    EXPECT_EQ(clock.sleeps().front(), milliseconds(3000));
}

TEST_F(GrowingConfiguration, IsTriedAgainUntilEveryEntryHasBeenTried) {
    enough = 4;

    EXPECT_THROW(fromConfiguration(), WaitedLongEnough);

    // One entry, then two, then four: seven tries for four entries.
    const auto sleeps = clock.sleeps();
    EXPECT_EQ((std::vector(sleeps.begin(), sleeps.begin() + 3)),
              (std::vector{milliseconds(1000), milliseconds(1000), milliseconds(3000)}));
}

TEST_F(GrowingConfiguration, CountsTheTriedEntriesOfAllAttemptsTogether) {
    enough = 3;

    EXPECT_THROW(fromConfiguration(), WaitedLongEnough);

    // One entry, then two: three tries for three entries.
    const auto sleeps = clock.sleeps();
    EXPECT_EQ((std::vector(sleeps.begin(), sleeps.begin() + 2)),
              (std::vector{milliseconds(1000), milliseconds(3000)}));
}

TEST_F(GrowingConfiguration, HasStartedOnceAnyAttemptHas) {
    api->during("startServer", [this] {
        if (starts().size() > 1) {
            throw Kel_cpp::KelApiException(L"no network", 101);
        }
        configureAddress(L"10.0.0.6");
    });

    fromConfiguration();

    EXPECT_THAT(starts(),
                ElementsAre("startServer(10.0.0.5:58000)", "startServer(10.0.0.6:58000)"));
    EXPECT_THAT(clock.sleeps(), ElementsAre(milliseconds(1000)));
}

} // namespace

} // namespace Quarlen::Tests
