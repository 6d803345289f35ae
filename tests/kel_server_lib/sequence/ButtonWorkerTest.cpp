#include "kel_server_lib/sequence/ButtonWorker.hpp"

#include <chrono>
#include <filesystem>
#include <stdexcept>

#include "tests/kel_server_lib/sequence/ButtonWorkerFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using ButtonWorker = ButtonWorkerFixture;

TEST_F(ButtonWorker, EndsAtOnceWithoutASensor) {
    std::filesystem::remove(folder.path() / "f1");

    buttonWorker(handler, 1);

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(ButtonWorker, EndsAtOnceWhenTheFirstReadFails) {
    writeF1Sensor("");

    buttonWorker(handler, 1);

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(ButtonWorker, EndsBeforeItsFirstPassWhenAStopIsRaised) {
    handler.raiseStop();

    buttonWorker(handler, 1);

    EXPECT_THAT(clock.sleeps(), IsEmpty());
    EXPECT_THAT(handler.f1.samples, IsEmpty());
}

TEST_F(ButtonWorker, ReadsTheSensorEveryTwoHundredMilliseconds) {
    watch(1, 3);

    EXPECT_THAT(clock.sleeps(), ElementsAre(200ms, 200ms, 200ms));
    EXPECT_THAT(handler.f1.samples, ElementsAre(1000, 1000, 1000));
}

TEST_F(ButtonWorker, WatchesItsOwnSensorIntoItsOwnSlot) {
    writeF2Sensor("2000\n");

    watch(2, 2);

    EXPECT_THAT(handler.f2.samples, ElementsAre(2000, 2000));
    EXPECT_THAT(handler.f1.samples, IsEmpty());
}

TEST_F(ButtonWorker, WatchesF2ForEveryNumberButOne) {
    watch(3, 2);

    EXPECT_THAT(handler.f2.samples, SizeIs(2));
    EXPECT_THAT(handler.f1.samples, IsEmpty());
}

TEST_F(ButtonWorker, TheFirstTenReadingsChangeNoLedWhateverTheyAre) {
    afterPass(5, [this] { writeF1Sensor("90000\n"); });

    watch(1, 10);

    EXPECT_THAT(colours, Each(std::string("- - -")));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(ButtonWorker, AHandHeldForTenReadingsShowsOrangeThenWhiteAndStartsNothing) {
    afterPass(10, [this] { writeF1Sensor("9000\n"); });
    afterPass(20, [this] { writeF1Sensor("1000\n"); });

    watch(1, 21);

    const std::vector<std::string> held(colours.begin() + 10, colours.begin() + 20);
    EXPECT_THAT(held, Each(std::string("255 80 0")));
    EXPECT_EQ(colours.back(), "255 255 255");
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(ButtonWorker, AHandHeldLongerRunsTheBoundScriptWhileTheButtonIsBusy) {
    afterPass(10, [this] { writeF1Sensor("9000\n"); });
    bool busyInRun = false;
    std::string ledAtStart;
    api->during("setServerStatus(Running sequence: A.xml)", [&] {
        busyInRun = handler.f1.busy;
        ledAtStart = ledColour();
    });

    watch(1, 21);

    EXPECT_TRUE(busyInRun);
    EXPECT_EQ(ledAtStart, "0 0 255");
    EXPECT_EQ(colours.back(), "0 255 0");
    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Running sequence: A.xml)", "setServerStatus(Idle)"));
}

TEST_F(ButtonWorker, F2RunsItsOwnScript) {
    afterPass(10, [this] { writeF2Sensor("9000\n"); });

    watch(2, 21);

    EXPECT_EQ(api->count("setServerStatus(Running sequence: B.xml)"), 1U);
    EXPECT_FALSE(handler.f1.busy);
}

TEST_F(ButtonWorker, StaysBusyAfterARunUntilTheHandHasGone) {
    afterPass(10, [this] { writeF1Sensor("9000\n"); });
    std::vector<bool> busy;
    for (const int step : {21, 31, 32}) {
        afterPass(step, [&] { busy.push_back(handler.f1.busy); });
    }

    watch(1, 33);

    EXPECT_THAT(busy, ElementsAre(true, true, false));
}

TEST_F(ButtonWorker, AfterARunTheNextTenReadingsFormTheBackground) {
    afterPass(10, [this] { writeF1Sensor("9000\n"); });

    watch(1, 31);

    EXPECT_THAT(handler.f1.samples, SizeIs(10));
    EXPECT_THAT(handler.f1.samples, Each(9000));
    EXPECT_EQ(api->count("setServerStatus(Running sequence: A.xml)"), 1U);
}

TEST_F(ButtonWorker, BecomesBusyBeforeItShowsBlueAndRunsTheScriptAfterIt) {
    afterPass(10, [this] { writeF1Sensor("9000\n"); });
    std::vector<bool> busyAtColour;
    Calls statusesAtOwnBlue;
    duringLed([&](const std::string&) {
        busyAtColour.push_back(handler.f1.busy);
        if (busyAtColour.size() == 12) {
            statusesAtOwnBlue = statuses();
        }
    });

    watch(1, 21);

    std::vector<bool> expected(11, false);
    expected.insert(expected.end(), {true, true, true});
    EXPECT_EQ(busyAtColour, expected);
    EXPECT_THAT(statusesAtOwnBlue, IsEmpty());
    EXPECT_EQ(shownColours()[11], "0 0 255");
}

TEST_F(ButtonWorker, RunsAScriptWithoutANameToo) {
    handler.f1.scriptName.clear();
    afterPass(10, [this] { writeF1Sensor("9000\n"); });

    watch(1, 21);

    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running sequence: )"));
}

TEST_F(ButtonWorker, RunsWithTheRuntimeOfItsOwnSlot) {
    const auto own = std::make_shared<RecordingKelApi>();
    handler.f1.api = own;
    afterPass(10, [this] { writeF1Sensor("9000\n"); });

    watch(1, 21);

    EXPECT_EQ(own->count("setServerStatus(Running sequence: A.xml)"), 1U);
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(ButtonWorker, DoesNotCatchWhatARunRaises) {
    afterPass(10, [this] { writeF1Sensor("9000\n"); });
    api->throwIn("setServerStatus", L"gone", 3);

    EXPECT_THROW(watch(1, 30), Kel_cpp::KelApiException);

    EXPECT_THAT(clock.sleeps(), SizeIs(20));
    EXPECT_TRUE(handler.f1.busy);
    EXPECT_THAT(handler.f1.samples, SizeIs(10));
}

TEST_F(ButtonWorker, EndsWhenItIsToldToAlsoWithoutARaisedStop) {
    afterPass(3, [this] { handler.f1.endRequest.request_stop(); });

    watch(1, 20);

    EXPECT_THAT(clock.sleeps(), SizeIs(3));
}

TEST_F(ButtonWorker, PassesOverAReadThatFails) {
    afterPass(2, [this] { writeF1Sensor(""); });
    afterPass(4, [this] { writeF1Sensor("1500\n"); });

    watch(1, 5);

    EXPECT_THAT(handler.f1.samples, ElementsAre(1000, 1000, 1500));
}

TEST_F(ButtonWorker, DoesNotCatchWhatALineThatIsNoNumberRaises) {
    writeF1Sensor("broken\n");

    EXPECT_THROW(buttonWorker(handler, 1), std::invalid_argument);
}

TEST_F(ButtonWorker, WorksWithoutAnLed) {
    std::filesystem::remove_all(folder.path() / "leds");
    afterPass(10, [this] { writeF1Sensor("9000\n"); });

    watch(1, 21);

    EXPECT_EQ(api->count("setServerStatus(Running sequence: A.xml)"), 1U);
}

} // namespace Quarlen::Tests
