#include <gmock/gmock.h>

#include "kel_server/ServerApplication.hpp"
#include "kel_server_lib/devices/StatusLed.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/ErrorHandler.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class Shutdown : public Tests::ApplicationFixture {
protected:
    /// What is asked of the runtime from the start of the shutdown on.
    Calls callsOfShutdown() {
        {
            ServerApplication application(options, environment);
            result = application.run();
            api->forgetCalls();
        }
        return api->calls();
    }

    int result = -1;
};

TEST_F(Shutdown, CallsTheRuntimeInItsOrder) {
    options.sovd = true;

    EXPECT_THAT(callsOfShutdown(),
                ElementsAre("stopSovdServer()", "setServerStatus(Shutting down)",
                            "setServerStatus(Running cancel sequence)", "getActiveConnections()",
                            "setServerStatus(Idle)", "stopServer(10.0.0.5:58000)"));
    EXPECT_EQ(result, 0);
}

TEST_F(Shutdown, StopsNoSovdServerThatNobodyAskedFor) {
    callsOfShutdown();

    EXPECT_EQ(api->count("stopSovdServer()"), 0U);
}

TEST_F(Shutdown, StopsTheSovdServerThatNeverStarted) {
    options.sovd = true;
    api->throwIn("startServer", L"in use", 98);

    callsOfShutdown();

    EXPECT_EQ(result, 2);
    EXPECT_EQ(api->count("stopSovdServer()"), 1U);
    EXPECT_FALSE(printedLine("SOVD server started"));
}

TEST_F(Shutdown, StopsEveryStartedAddressInTheirOrder) {
    setArguments({});
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"10.0.0.6", 58002);
    api->startedAddress = [](const std::wstring& address) { return L"http://" + address; };

    callsOfShutdown();

    EXPECT_THAT(api->callsOf({"stopServer"}), ElementsAre("stopServer(http://10.0.0.5:58001)",
                                                          "stopServer(http://10.0.0.6:58002)"));
}

TEST_F(Shutdown, SaysThatItShutsDown) {
    callsOfShutdown();

    EXPECT_THAT(printed(), EndsWith("\nShutting down kel_server\n"));
}

TEST_F(Shutdown, SaysNothingWhenItIsNotVerbose) {
    options.verbose = false;

    EXPECT_THAT(callsOfShutdown(),
                testing::IsSupersetOf({"setServerStatus(Shutting down)", "getActiveConnections()",
                                       "stopServer(10.0.0.5:58000)"}));

    EXPECT_THAT(printed(), testing::Not(HasSubstr("Shutting down")));
    EXPECT_EQ(ledColour(), "255 255 255");
}

TEST_F(Shutdown, EndsARunningSequence) {
    api->activeConnections.push_back(std::make_shared<Kel_cpp::ActiveConnection>());

    EXPECT_THAT(callsOfShutdown(), testing::Contains("selectProject()"));
}

TEST_F(Shutdown, LeavesTheLedAllOn) {
    callsOfShutdown();

    EXPECT_EQ(ledColour(), "255 255 255");
}

TEST_F(Shutdown, PrintsAnExceptionAndStillLeavesTheLedAllOn) {
    api->throwIn("setServerStatus(Shutting down)", L"gone", 5);

    EXPECT_THAT(callsOfShutdown(), ElementsAre("setServerStatus(Shutting down)"));

    EXPECT_THAT(printed(),
                EndsWith("\nShutting down kel_server\nException caught: gone code: 5\n"));
    EXPECT_EQ(ledColour(), "255 255 255");
}

TEST_F(Shutdown, LetsNoOtherExceptionOutEither) {
    api->during("stopServer", [] { throw std::runtime_error("odd"); });
    callsOfShutdown();
    EXPECT_TRUE(printedLine("Exception caught: odd"));

    const std::error_code busy = std::make_error_code(std::errc::device_or_resource_busy);
    api->during("stopServer", [busy] { throw std::system_error(busy, "odd"); });
    callsOfShutdown();
    EXPECT_TRUE(
        printedLine("Exception caught: odd: " + Platform::toUtf8(Platform::errorText(busy))));

    api->during("stopServer", [] { throw 42; });
    callsOfShutdown();
    EXPECT_EQ(ledColour(), "255 255 255");
}

/// The start fails at this operation; the whole shutdown that is then possible runs.
struct FailedStart {
    const char* operation;
    std::vector<std::string> shutdown;
};

class ShutdownAfterFailedStart : public Shutdown,
                                 public testing::WithParamInterface<FailedStart> {};

TEST_P(ShutdownAfterFailedStart, SkipsWhatDoesNotExistAndLeavesTheLedAllOn) {
    options.sovd = true;
    api->throwIn(GetParam().operation, L"broken", 1);

    EXPECT_EQ(callsOfShutdown(), GetParam().shutdown);

    EXPECT_EQ(result, 2);
    EXPECT_EQ(ledColour(), "255 255 255");
}

const std::vector<std::string> beforeTheHandler{"stopSovdServer()",
                                                "setServerStatus(Shutting down)"};
const std::vector<std::string> withTheHandler{"stopSovdServer()", "setServerStatus(Shutting down)",
                                              "setServerStatus(Running cancel sequence)",
                                              "getActiveConnections()", "setServerStatus(Idle)"};
const std::vector<std::string> withTheServer{"stopSovdServer()",
                                             "setServerStatus(Shutting down)",
                                             "setServerStatus(Running cancel sequence)",
                                             "getActiveConnections()",
                                             "setServerStatus(Idle)",
                                             "stopServer(10.0.0.5:58000)"};

INSTANTIATE_TEST_SUITE_P(Operations, ShutdownAfterFailedStart,
                         testing::Values(FailedStart{"initialize", beforeTheHandler},
                                         FailedStart{"getServerSettings", beforeTheHandler},
                                         FailedStart{"getServerConfiguration", withTheHandler},
                                         FailedStart{"startServer", withTheHandler},
                                         FailedStart{"setServerHandler", withTheServer}));

TEST_F(Shutdown, CallsNothingWithoutARuntime) {
    environment.getKelApi = []() -> std::shared_ptr<Kel_cpp::KelApi> {
        throw Kel_cpp::KelApiException(L"no licence", 3);
    };

    EXPECT_THAT(callsOfShutdown(), IsEmpty());

    EXPECT_EQ(result, 2);
    EXPECT_EQ(printed(), "Exception caught: no licence code: 3\nShutting down kel_server\n");
    EXPECT_EQ(ledColour(), "255 255 255");
}

TEST_F(Shutdown, LeavesTheLedAllOnWithoutAnAddress) {
    setArguments({});

    callsOfShutdown();

    EXPECT_EQ(result, 1);
    EXPECT_EQ(ledColour(), "255 255 255");
}

TEST_F(Shutdown, LeavesNoCycleThatKeepsTheRuntimeAlive) {
    api->serverConfiguration->f1Sequence = L"One.xml";
    api->serverConfiguration->f2Sequence = L"Two.xml";
    runAndDestroy();
    const std::weak_ptr<Kel_cpp::KelApi> runtime = api;
    const std::weak_ptr<Kel_cpp::ServerHandler> handler = api->serverHandler;
    environment.getKelApi = nullptr;

    ASSERT_EQ(api.use_count(), 1);
    api.reset();

    EXPECT_TRUE(runtime.expired());
    EXPECT_TRUE(handler.expired());
}

/// Writes a colour when a button's thread is stopped, as a run does that ends there.
class RunThatEndsRed : public StdUtil::TraceListener {
public:
    explicit RunThatEndsRed(std::string ledPrefix) : ledPrefix(std::move(ledPrefix)) {}

    void onTrace(const StdUtil::TraceLine& line) override {
        if (line.text == L"-> wait to stop F1 thread") {
            setLed(ledPrefix, LedColours::failed);
            ended = true;
        }
    }

    bool ended = false;

private:
    std::string ledPrefix;
};

TEST_F(Shutdown, LeavesTheLedAllOnAfterTheRunOfAButton) {
    api->serverConfiguration->f1Sequence = L"One.xml";
    const auto run = std::make_shared<RunThatEndsRed>(environment.sequence.devices.ledPrefix);
    StdUtil::ErrorHandler::addListener(run);

    callsOfShutdown();
    StdUtil::ErrorHandler::removeListener(run);

    EXPECT_TRUE(run->ended);
    EXPECT_EQ(ledColour(), "255 255 255");
}

} // namespace

} // namespace Quarlen::Tests
