#include "kel_server/ServerApplication.hpp"

#include <functional>
#include <future>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

#include "kel_server_lib/http/HttpServer.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class ServerApplicationTest : public Tests::ApplicationFixture {
protected:
    /// Runs the application and looks at it before it is shut down.
    int runAndLook(const std::function<void()>& look) {
        ServerApplication application(options, environment);
        const int result = application.run();
        look();
        return result;
    }

    Calls callsOfRun() {
        Calls calls;
        runAndLook([&] { calls = api->calls(); });
        return calls;
    }

    std::string printedByRun() {
        std::string text;
        runAndLook([&] { text = printed(); });
        return text;
    }

    static constexpr const char* exceptionLine = "Exception caught: broken code: -7";
};

TEST_F(ServerApplicationTest, CallsTheRuntimeInTheOrderOfTheStart) {
    EXPECT_THAT(callsOfRun(),
                ElementsAre("initialize()", "getServerSettings()", "getServerConfiguration()",
                            "startServer(10.0.0.5:58000)", "getProjectPath()", "getServerVersion()",
                            "getDeviceInfo()", "setServerHandler(handler)",
                            "setServerStatus(Idle)"));
}

TEST_F(ServerApplicationTest, CallsTheSameWithDbus) {
    const auto usual = callsOfRun();
    api->forgetCalls();
    options.dbus = true;

    EXPECT_EQ(callsOfRun(), usual);
    EXPECT_THAT(usual, Not(IsEmpty()));
}

TEST_F(ServerApplicationTest, DoesNothingBeforeRun) {
    { const ServerApplication application(options, environment); }

    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(ServerApplicationTest, PrintsTheBanner) {
    api->pathSettings->projectsPath = L"/kel/projects \u00E4";
    api->serverVersion = L"4.2";
    api->deviceInfo->cosVersion = L"cos 7";
    api->deviceInfo->hardwareType = static_cast<Kel_cpp::HardwareType>(5);

    EXPECT_EQ(printedByRun(),
              "server address: 10.0.0.5:58000\n"
              "project path: /kel/projects \xC3\xA4\n"
              "server version: 4.2\n"
              "cos version: cos 7\n"
              "server device: Invalid \"HardwareType\" value -- conversion not possible\n");
}

TEST_F(ServerApplicationTest, PrintsNoBannerWhenItIsNotVerbose) {
    options.verbose = false;

    EXPECT_EQ(printedByRun(), "server address: 10.0.0.5:58000\n");
    EXPECT_THAT(api->callsOf({"getProjectPath", "getServerVersion", "getDeviceInfo"}), IsEmpty());
}

TEST_F(ServerApplicationTest, PrintsATextThatCannotBeConvertedAsEmpty) {
    api->serverVersion = std::wstring(1, static_cast<wchar_t>(0xD800));

    EXPECT_THAT(printedByRun(), HasSubstr("\nserver version: \n"));
}

TEST_F(ServerApplicationTest, UsesAPresetFacadeWithoutInitialisingItOrStartingServers) {
    options.presetFacade = api;
    environment.getKelApi = [] { return nullptr; };

    const auto calls = callsOfRun();

    EXPECT_THAT(calls, Not(testing::Contains("initialize()")));
    EXPECT_THAT(calls, Not(testing::Contains(StartsWith("startServer"))));
    EXPECT_THAT(calls, testing::Contains("setServerStatus(Idle)"));
}

TEST_F(ServerApplicationTest, ReturnsTwoWithoutARuntime) {
    environment.getKelApi = [] { return nullptr; };

    EXPECT_EQ(runAndDestroy(), 2);

    EXPECT_TRUE(printedLine("Exception caught: The diagnostic runtime is not available code: -1"));
}

TEST_F(ServerApplicationTest, ReportsAMissingAddressWithTheUsageAndReturnsOne) {
    setArguments({});

    EXPECT_EQ(runAndDestroy(), 1);

    EXPECT_THAT(printed(),
                StartsWith("Missing ServerAddresses configuration in kelServer.xml and also "
                           "address is not given as parameter to application\nUsage: \n"
                           " kel_server <adapter name or ip address> <port number>\n"));
    EXPECT_THAT(api->callsOf({"startServer", "setServerHandler"}), IsEmpty());
}

TEST_F(ServerApplicationTest, StartsTheConfiguredAddressesWithoutAnAddressArgument) {
    setArguments({});
    configureAddress(L"10.0.0.8", 58008);

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_EQ(api->count("startServer(10.0.0.8:58008)"), 1U);
}

TEST_F(ServerApplicationTest, PrefersTheAddressArgumentToTheConfiguration) {
    configureAddress(L"10.0.0.8");

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(api->callsOf({"startServer"}), ElementsAre("startServer(10.0.0.5:58000)"));
}

TEST_F(ServerApplicationTest, ResolvesTheBrokerForConfiguredAddresses) {
    setArguments({});
    configureAddress(L"$$BROKERURL$$");
    api->serverSettings->brokerUrl = L"http://broker";

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_EQ(api->count("startServer(http://broker)"), 1U);
}

TEST_F(ServerApplicationTest, ReadsAnEmptyAddressBehindAnOption) {
    options.arguments = {L"kel_server", L"", L"eth0"};
    options.argumentCount = 2;

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(api->callsOf({"startServer"}), ElementsAre("startServer(:58000)"));
}

TEST_F(ServerApplicationTest, StartsTheRestApiBeforeTheSovdServerAndGoesOnWithoutIt) {
    options.rest = true;
    options.sovd = true;
    environment.rest.makeServer = []() -> std::unique_ptr<Rest::HttpServer> { return nullptr; };

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printed(), HasSubstr("\nInvalid REST API server\nREST server started\n"
                                     "SOVD server started\n"));
}

TEST_F(ServerApplicationTest, StartsTheSovdServer) {
    options.sovd = true;

    EXPECT_THAT(printedByRun(), HasSubstr("\nSOVD server started\n"));

    EXPECT_EQ(api->count("startSovdServer()"), 1U);
}

TEST_F(ServerApplicationTest, RunsTheStartSequence) {
    api->serverConfiguration->startSequence = L"Start.xml";

    EXPECT_THAT(printedByRun(), HasSubstr("\nRunning start sequence: Start.xml\n"));

    const auto statuses = api->callsOf({"setServerStatus"});
    ASSERT_GE(statuses.size(), 3U);
    EXPECT_EQ(statuses[0], "setServerStatus(Idle)");
    EXPECT_EQ(statuses[1], "setServerStatus(Running start sequence: Start.xml)");
    EXPECT_EQ(statuses[2], "setServerStatus(Running sequence: Start.xml)");
}

TEST_F(ServerApplicationTest, PrintsThePromptLast) {
    options.nonInteractive = false;
    options.sovd = true;

    EXPECT_THAT(printedByRun(), testing::EndsWith("\nSOVD server started\n"
                                                  "Enter 'q' and Enter to exit\n"));
}

TEST_F(ServerApplicationTest, LeavesTheKeyboardAloneWhenItIsNotInteractive) {
    bool opened = false;
    environment.openKeys = [&opened] {
        opened = true;
        return std::make_unique<Tests::ScriptedKeys>("q");
    };

    EXPECT_THAT(printedByRun(), Not(HasSubstr("Enter 'q'")));

    EXPECT_FALSE(opened);
}

TEST_F(ServerApplicationTest, LetsOtherExceptionsPass) {
    api->during("setServerStatus(Idle)", [] { throw std::runtime_error("other"); });

    EXPECT_THROW(runAndDestroy(), std::runtime_error);
}

/// An operation of each group of steps: what comes after it must not happen.
class ServerApplicationFailure : public ServerApplicationTest,
                                 public testing::WithParamInterface<const char*> {};

TEST_P(ServerApplicationFailure, PrintsTheExceptionAndReturnsTwo) {
    options.sovd = true;
    options.nonInteractive = false;
    api->throwIn(GetParam(), L"broken", -7);

    EXPECT_EQ(runAndDestroy(), 2);

    EXPECT_TRUE(printedLine(exceptionLine));
    EXPECT_THAT(printed(), Not(HasSubstr("Enter 'q'")));
}

INSTANTIATE_TEST_SUITE_P(Operations, ServerApplicationFailure,
                         testing::Values("initialize", "getServerSettings",
                                         "getServerConfiguration", "startServer", "getProjectPath",
                                         "getServerVersion", "getDeviceInfo", "setServerHandler",
                                         "setServerStatus(Idle)", "startSovdServer"));

TEST_F(ServerApplicationTest, WaitsInStepsOfOneSecondForTheStop) {
    options.nonInteractive = false;
    std::promise<void> letGo;
    const auto gate = letGo.get_future().share();
    environment.openKeys = [gate] {
        return std::make_unique<Tests::ScriptedKeys>("q", nullptr, [gate] { gate.wait(); });
    };
    clock.onSleep([&](std::chrono::milliseconds) {
        if (clock.sleeps().size() == 3) {
            letGo.set_value();
        }
        std::this_thread::yield();
    });
    ServerApplication application(options, environment);
    ASSERT_EQ(application.run(), 0);

    application.waitForStop();

    EXPECT_GE(clock.sleeps().size(), 3U);
    EXPECT_THAT(clock.sleeps(), testing::Each(std::chrono::milliseconds(1000)));
}

} // namespace

} // namespace Quarlen::Tests
