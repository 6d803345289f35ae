#include "tests/kel_server_lib/sequence/ButtonWorkerFixture.hpp"

namespace Quarlen::Tests {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Each of the two, with the other one beside it.
class EachButtonWorker : public ButtonWorkerFixture, public testing::WithParamInterface<int> {
protected:
    void writeOwnSensor(const std::string& content) {
        GetParam() == 1 ? writeF1Sensor(content) : writeF2Sensor(content);
    }
    [[nodiscard]] ButtonSlot& own() { return GetParam() == 1 ? handler.f1 : handler.f2; }
    [[nodiscard]] ButtonSlot& other() { return GetParam() == 1 ? handler.f2 : handler.f1; }
};

TEST_P(EachButtonWorker, WhileTheOtherButtonRunsAHandChangesNoLedAndStartsNothing) {
    other().busy = true;
    afterPass(10, [this] { writeOwnSensor("9000\n"); });
    afterPass(30, [this] { writeOwnSensor("1000\n"); });

    watch(GetParam(), 32);

    EXPECT_THAT(colours, Each(std::string("- - -")));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_P(EachButtonWorker, StartsNothingWhenTheOtherBecomesBusyWhileTheHandIsShown) {
    afterPass(10, [this] { writeOwnSensor("9000\n"); });
    afterPass(20, [this] { duringLed([this](const auto&) { other().busy = true; }); });

    watch(GetParam(), 25);

    EXPECT_THAT(shownColours(), SizeIs(11));
    EXPECT_THAT(shownColours(), Each(std::string("255 80 0")));
    EXPECT_FALSE(own().busy);
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_P(EachButtonWorker, StartsWhenTheOtherHasBecomeFree) {
    other().busy = true;
    afterPass(10, [this] { writeOwnSensor("9000\n"); });
    afterPass(25, [this] { other().busy = false; });

    watch(GetParam(), 26);

    EXPECT_THAT(shownColours(), ElementsAre("255 80 0", "0 0 255", "0 0 255", "0 255 0"));
}

TEST_P(EachButtonWorker, ShowsTheHandAndItsGoingWhileItIsBusyItselfAndStartsNothing) {
    own().busy = true;
    afterPass(10, [this] { writeOwnSensor("9000\n"); });
    afterPass(22, [this] { writeOwnSensor("1000\n"); });

    watch(GetParam(), 24);

    Calls expected(12, "255 80 0");
    expected.emplace_back("255 255 255");
    EXPECT_EQ(shownColours(), expected);
    EXPECT_FALSE(own().busy);
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_P(EachButtonWorker, IsNotBusyAnyMoreWithAFarReadingWhateverTheOtherDoes) {
    own().busy = true;
    other().busy = true;
    bool busyBeforeTheFarReading = false;
    afterPass(10, [&] { busyBeforeTheFarReading = own().busy; });

    watch(GetParam(), 11);

    EXPECT_TRUE(busyBeforeTheFarReading);
    EXPECT_FALSE(own().busy);
    EXPECT_TRUE(other().busy);
}

TEST_P(EachButtonWorker, TenNearReadingsStartNothing) {
    afterPass(10, [this] { writeOwnSensor("9000\n"); });
    afterPass(20, [this] { writeOwnSensor("1000\n"); });

    watch(GetParam(), 32);

    EXPECT_THAT(statuses(), IsEmpty());
    EXPECT_EQ(colours.back(), "255 255 255");
}

TEST_P(EachButtonWorker, ItsOwnRunDoesNotMakeTheOtherOneBusy) {
    afterPass(10, [this] { writeOwnSensor("9000\n"); });
    bool otherBusyInRun = true;
    api->during("setServerStatus", [&] { otherBusyInRun = other().busy; });

    watch(GetParam(), 21);

    EXPECT_FALSE(otherBusyInRun);
    EXPECT_THAT(statuses(), SizeIs(2));
}

INSTANTIATE_TEST_SUITE_P(Buttons, EachButtonWorker, testing::Values(1, 2),
                         [](const auto& test) { return "F" + std::to_string(test.param); });

} // namespace Quarlen::Tests
