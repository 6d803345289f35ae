#include "kel_server/Program.hpp"

#include <thread>

#include <gmock/gmock.h>

#include "tests/kel_server/ApplicationFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::IsEmpty;
using testing::StartsWith;

const Platform::NetworkAdapter networkAdapter{.systemName = L"",
                                              .friendlyName = L"Ethernet",
                                              .description = L"",
                                              .up = true,
                                              .firstIpv4Address = L"10.0.0.7",
                                              .hardwareAddressLength = 6};

class Program : public Tests::ApplicationFixture {
protected:
    Program() {
        environment.openKeys = [] { return std::make_unique<Tests::ScriptedKeys>("q"); };
        clock.onSleep([this](milliseconds duration) {
            boundTheWaitForTheNetwork(duration);
            std::this_thread::yield();
        });
    }

    int run(const std::vector<const wchar_t*>& arguments) {
        return runProgram(static_cast<int>(arguments.size()), arguments.data(), environment);
    }
};

TEST_F(Program, EndsWithZeroAfterAStop) {
    EXPECT_EQ(run({L"kel_server", L"10.0.0.5"}), 0);

    EXPECT_EQ(api->count("stopServer(10.0.0.5:58000)"), 1U);
}

TEST_F(Program, RunsUntilTheStop) {
    Calls whileItRan;
    clock.onSleep([&](milliseconds) {
        whileItRan = api->callsOf({"startServer", "stopServer"});
        environment.stopRequested->store(true);
    });

    EXPECT_EQ(run({L"kel_server", L"10.0.0.5", L"--non_interactive"}), 0);

    EXPECT_THAT(whileItRan, testing::ElementsAre("startServer(10.0.0.5:58000)"));
    EXPECT_THAT(clock.sleeps(), testing::ElementsAre(milliseconds(1000)));
}

TEST_F(Program, TellsOnceItIsUpAndBeforeItWaits) {
    std::vector<std::string> order;
    environment.started = [&] {
        order.push_back("up, " + std::to_string(api->count("setServerStatus(Idle)")));
    };
    clock.onSleep([&](milliseconds) {
        order.emplace_back("waits");
        environment.stopRequested->store(true);
    });

    run({L"kel_server", L"10.0.0.5", L"--non_interactive"});

    EXPECT_THAT(order, testing::ElementsAre("up, 1", "waits"));
}

TEST_F(Program, DoesNotTellThatItIsUpWhenItsStartHasFailed) {
    bool isUp = false;
    environment.started = [&isUp] { isUp = true; };
    api->throwIn("initialize", L"broken", 1);

    EXPECT_EQ(run({L"kel_server", L"10.0.0.5"}), 2);

    EXPECT_FALSE(isUp);
}

TEST_F(Program, WaitsTwoSecondsForADelayedStart) {
    api->throwIn("initialize", L"broken", 1);

    run({L"kel_server", L"10.0.0.5", L"--delayedStart"});

    EXPECT_THAT(printed(),
                StartsWith("starting server with a 2sec delay (from restart request)\n"));
    EXPECT_THAT(clock.sleeps(), testing::ElementsAre(milliseconds(2000)));
}

TEST_F(Program, SaysThatItDelaysTheStartBeforeItSleepsAndStartsNothingMeanwhile) {
    std::string printedAtSleep;
    Calls callsAtSleep{"never slept"};
    clock.onSleep([&](milliseconds duration) {
        if (duration == milliseconds(2000)) {
            printedAtSleep = printed();
            callsAtSleep = api->calls();
        }
        std::this_thread::yield();
    });

    run({L"kel_server", L"10.0.0.5", L"--delayedStart"});

    EXPECT_EQ(printedAtSleep, "starting server with a 2sec delay (from restart request)\n");
    EXPECT_THAT(callsAtSleep, IsEmpty());
}

TEST_F(Program, HasTheResultOfAFailedStartForItsExitCode) {
    clock.limitSleeps(0);
    EXPECT_EQ(run({L"kel_server", L"--watchdogPresent"}), 1);

    api->throwIn("initialize", L"broken", 1);
    EXPECT_EQ(run({L"kel_server", L"10.0.0.5"}), 2);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(Program, HandsAnEmptyAddressOnBehindAnOption) {
    EXPECT_EQ(run({L"kel_server", L"--dbus", L"eth0"}), 0);

    EXPECT_THAT(api->callsOf({"startServer"}), testing::ElementsAre("startServer(:58000)"));
}

TEST_F(Program, OpensTheKeyboardOnlyAfterTheWaitForTheNetwork) {
    int asked = 0;
    environment.networkAdapters = [&asked] {
        return ++asked < 3 ? std::vector<Platform::NetworkAdapter>() : std::vector{networkAdapter};
    };
    Calls startedBefore;
    environment.openKeys = [&] {
        startedBefore = api->callsOf({"startServer"});
        return std::make_unique<Tests::ScriptedKeys>("q");
    };

    EXPECT_EQ(run({L"kel_server", L"eth0"}), 0);

    EXPECT_TRUE(printedLine("waiting for network..."));
    EXPECT_THAT(startedBefore, testing::ElementsAre("startServer(10.0.0.7:58000)"));
}

class ProgramUsage : public Program, public testing::WithParamInterface<const wchar_t*> {};

TEST_P(ProgramUsage, EndsWithZeroWithoutContactingTheRuntime) {
    bool contacted = false;
    environment.getKelApi = [&] {
        contacted = true;
        return api;
    };

    EXPECT_EQ(run({L"kel_server", L"--delayedStart", GetParam()}), 0);

    EXPECT_FALSE(contacted);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
    EXPECT_THAT(printed(), StartsWith("Usage: \n"));
}

INSTANTIATE_TEST_SUITE_P(Words, ProgramUsage,
                         testing::Values(L"--help", L"-help", L"?", L"x-helpx"));

} // namespace

} // namespace Quarlen::Tests
