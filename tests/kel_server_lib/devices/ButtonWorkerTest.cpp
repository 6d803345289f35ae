#include "kel_server_lib/devices/ButtonWorker.hpp"

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>

#include "tests/kel_server_lib/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Runs the worker on the test's own thread; what happens between its passes happens in the
/// clock's sleep.
class ButtonWorker : public SequenceFixture {
protected:
    ButtonWorker() {
        handler.f1.scriptName = L"A.xml";
        handler.f1.api = api;
        handler.f2.scriptName = L"B.xml";
        handler.f2.api = api;
        writeScript("A.xml", "");
        writeScript("B.xml", "");
        writeF1Sensor("1000\n");
        writeF2Sensor("1000\n");
    }

    /// Runs `what` after pass number `pass`, counted from 1.
    void afterPass(int pass, std::function<void()> what) { plan[pass] = std::move(what); }

    /// Lets the worker make this many passes and notes the LED after each.
    void watch(int button, int passes) {
        afterPass(passes, [this] { handler.raiseStop(); });
        clock.onSleep([this](auto) {
            colours.push_back(ledColour());
            if (const auto step = plan.find(++pass); step != plan.end()) {
                step->second();
            }
        });
        buttonWorker(handler, button);
    }

    std::map<int, std::function<void()>> plan;
    std::vector<std::string> colours;
    int pass = 0;
};

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

/// Each of the two, with the other one beside it.
class EachButtonWorker : public ButtonWorker, public testing::WithParamInterface<int> {
protected:
    void writeOwnSensor(const std::string& content) {
        GetParam() == 1 ? writeF1Sensor(content) : writeF2Sensor(content);
    }
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
