#include "kel_server_lib/devices/ProximityBaseline.hpp"

#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Tests {

using testing::Each;
using testing::ElementsAre;

namespace {

constexpr ProximityDecision nothing{};
constexpr ProximityDecision far{.colour = {}, .pressed = false, .released = true};
constexpr ProximityDecision handGone{
    .colour = LedColours::allOn, .pressed = false, .released = true};
constexpr ProximityDecision handNear{
    .colour = LedColours::handNear, .pressed = false, .released = false};
constexpr ProximityDecision press{
    .colour = LedColours::handNear, .pressed = true, .released = false};

} // namespace

class ProximityBaselineTest : public testing::Test {
protected:
    std::vector<ProximityDecision> take(std::size_t count, std::int32_t reading) {
        std::vector<ProximityDecision> decisions;
        for (std::size_t index = 0; index < count; ++index) {
            decisions.push_back(baseline.take(reading));
        }
        return decisions;
    }

    std::deque<std::int32_t> samples;
    ProximityBaseline baseline{samples};
};

TEST_F(ProximityBaselineTest, TheFirstTenReadingsOnlyFillIt) {
    std::vector<ProximityDecision> decisions;
    for (std::int32_t reading = 0; reading < 10; ++reading) {
        decisions.push_back(baseline.take(reading * 100000));
    }

    EXPECT_THAT(decisions, Each(nothing));
    EXPECT_EQ(samples.size(), 10U);
}

TEST_F(ProximityBaselineTest, AReadingIsNearFromTheMarginOn) {
    take(10, 1000);

    EXPECT_EQ(baseline.take(3999), far);
    take(10, 1000);
    EXPECT_EQ(baseline.take(4000), handNear);
}

TEST_F(ProximityBaselineTest, TheMeanIsTruncatedTowardsZero) {
    take(9, 0);
    baseline.take(-19);

    EXPECT_EQ(baseline.take(2998), far);
}

TEST_F(ProximityBaselineTest, APositiveMeanIsTruncatedTowardsZero) {
    take(9, 1000);
    baseline.take(1009);

    EXPECT_EQ(baseline.take(4000), handNear);
}

TEST_F(ProximityBaselineTest, ANegativeMeanIsTruncatedTowardsZero) {
    take(9, 0);
    baseline.take(-19);

    EXPECT_EQ(baseline.take(2999), handNear);
}

TEST_F(ProximityBaselineTest, FarReadingsSlideIt) {
    take(10, 1000);

    take(3, 2000);

    EXPECT_THAT(samples, ElementsAre(1000, 1000, 1000, 1000, 1000, 1000, 1000, 2000, 2000, 2000));
    EXPECT_EQ(baseline.take(4299), far);
}

TEST_F(ProximityBaselineTest, NearReadingsDoNotEnterIt) {
    take(10, 1000);

    take(5, 9000);

    EXPECT_THAT(samples, Each(1000));
    EXPECT_EQ(samples.size(), 10U);
}

TEST_F(ProximityBaselineTest, TenNearReadingsThenFarShowTheHandAndStartNothing) {
    take(10, 1000);

    EXPECT_THAT(take(10, 9000), Each(handNear));
    EXPECT_EQ(baseline.take(1000), handGone);
    EXPECT_EQ(baseline.take(1000), far);
}

TEST_F(ProximityBaselineTest, TheEleventhNearReadingInARowIsAPress) {
    take(10, 1000);
    take(10, 9000);

    EXPECT_EQ(baseline.take(9000), press);
}

TEST_F(ProximityBaselineTest, AFarReadingBetweenStartsTheCountAgain) {
    take(10, 1000);
    take(10, 9000);
    take(1, 1000);

    EXPECT_THAT(take(10, 9000), Each(handNear));
}

TEST_F(ProximityBaselineTest, EveryFurtherNearReadingIsAPress) {
    take(10, 1000);
    take(10, 9000);

    EXPECT_THAT(take(5, 9000), Each(press));
}

TEST_F(ProximityBaselineTest, APressTooEndsWithTheHandGone) {
    take(10, 1000);
    take(11, 9000);

    EXPECT_EQ(baseline.take(1000), handGone);
    EXPECT_THAT(take(10, 9000), Each(handNear));
}

TEST_F(ProximityBaselineTest, AfterARestartTheCountBeginsAgain) {
    take(10, 1000);
    take(11, 9000);

    baseline.restart();

    take(10, 1000);
    EXPECT_THAT(take(10, 9000), Each(handNear));
    EXPECT_EQ(baseline.take(9000), press);
}

TEST_F(ProximityBaselineTest, AfterARestartTheNextTenReadingsFormTheBackgroundHandOrNot) {
    take(10, 1000);
    take(11, 9000);

    baseline.restart();

    EXPECT_THAT(take(10, 9000), Each(nothing));
    EXPECT_EQ(baseline.take(9000), far);
    EXPECT_EQ(baseline.take(12000), handNear);
    EXPECT_EQ(baseline.take(11999), handGone);
}

TEST_F(ProximityBaselineTest, ReadingsAtTheLimitsDoNotOverflow) {
    take(10, std::numeric_limits<std::int32_t>::max());

    EXPECT_EQ(baseline.take(std::numeric_limits<std::int32_t>::max()), far);
    EXPECT_EQ(baseline.take(std::numeric_limits<std::int32_t>::min()), far);
}

TEST_F(ProximityBaselineTest, GoesOnWithReadingsThatAreThereAlready) {
    samples.assign(10, 1000);
    ProximityBaseline taken(samples);

    EXPECT_EQ(taken.take(4000), handNear);
}

} // namespace Quarlen::Tests
