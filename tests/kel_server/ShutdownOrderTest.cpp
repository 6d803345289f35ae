#include <functional>
#include <utility>

#include <gmock/gmock.h>

#include "kel_server/ServerApplication.hpp"
#include "kel_server_lib/http/HttpServer.hpp"
#include "std_util/ErrorHandler.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"
#include "tests/support/LoopbackPort.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::EndsWith;

class ShutdownOrder : public Tests::ApplicationFixture {
protected:
    ShutdownOrder() { setArguments({}); }

    void configureTwoAddresses() {
        configureAddress(L"10.0.0.5", 58001);
        configureAddress(L"10.0.0.6", 58002);
    }
};

TEST_F(ShutdownOrder, SaysSoBeforeItAsksAnythingOfTheRuntime) {
    configureAddress(L"10.0.0.5");
    std::string before;
    api->during("setServerStatus(Shutting down)", [&] { before = printed(); });

    runAndDestroy();

    EXPECT_THAT(before, EndsWith("\nShutting down kel_server\n"));
}

TEST_F(ShutdownOrder, LeavesTheOtherServersWhenTheStopOfTheFirstFails) {
    configureTwoAddresses();
    api->throwIn("stopServer(10.0.0.5:58001)", L"gone", 5);

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(api->callsOf({"stopServer"}), ElementsAre("stopServer(10.0.0.5:58001)"));
    EXPECT_THAT(printed(),
                EndsWith("\nShutting down kel_server\nException caught: gone code: 5\n"));
    EXPECT_EQ(ledColour(), "255 255 255");
}

/// A call with which a step of the shutdown fails: what comes after it is left out.
struct FailedStep {
    const char* call;
    std::vector<std::string> callsUpToIt;
};

class FailingShutdown : public ShutdownOrder, public testing::WithParamInterface<FailedStep> {};

TEST_P(FailingShutdown, PrintsTheExceptionAndLeavesOutTheStepsUpToTheLed) {
    options.sovd = true;
    configureTwoAddresses();
    {
        ServerApplication application(options, environment);
        ASSERT_EQ(application.run(), 0);
        api->forgetCalls();
        api->throwIn(GetParam().call, L"gone", 5);
    }

    EXPECT_EQ(api->calls(), GetParam().callsUpToIt);
    EXPECT_THAT(printed(),
                EndsWith("\nShutting down kel_server\nException caught: gone code: 5\n"));
    EXPECT_EQ(ledColour(), "255 255 255");
}

INSTANTIATE_TEST_SUITE_P(
    Steps, FailingShutdown,
    testing::Values(FailedStep{"stopSovdServer", {"stopSovdServer()"}},
                    FailedStep{"setServerStatus(Shutting down)",
                               {"stopSovdServer()", "setServerStatus(Shutting down)"}},
                    FailedStep{"getActiveConnections",
                               {"stopSovdServer()", "setServerStatus(Shutting down)",
                                "setServerStatus(Running cancel sequence)",
                                "getActiveConnections()"}}));

/// Looks at the world when a button's thread is about to be stopped.
class BeforeTheButtonsStop : public StdUtil::TraceListener {
public:
    explicit BeforeTheButtonsStop(std::function<void()> look) : look(std::move(look)) {}

    void onTrace(const StdUtil::TraceLine& line) override {
        if (line.text == L"-> wait to stop F1 thread") {
            look();
        }
    }

private:
    std::function<void()> look;
};

TEST_F(ShutdownOrder, SwitchesTheLedOnBeforeTheButtonsAreStoppedAndAfterTheServers) {
    configureAddress(L"10.0.0.5");
    api->serverConfiguration->f1Sequence = L"One.xml";
    std::string colour;
    std::size_t stopped = 0;
    std::string colourAtTheServers;
    api->during("stopServer", [&] { colourAtTheServers = ledColour(); });
    const auto listener = std::make_shared<BeforeTheButtonsStop>([&] {
        colour = ledColour();
        stopped = api->callsOf({"stopServer"}).size();
    });
    StdUtil::ErrorHandler::addListener(listener);

    runAndDestroy();
    StdUtil::ErrorHandler::removeListener(listener);

    EXPECT_EQ(colourAtTheServers, "0 0 0");
    EXPECT_EQ(colour, "255 255 255");
    EXPECT_EQ(stopped, 1U);
}

/// `owner`, with `onEnd` when the last reference to it is gone.
template <class Owned>
std::shared_ptr<Owned> watched(std::shared_ptr<Owned> owner, std::function<void()> onEnd) {
    Owned* const object = owner.get();
    return {object, [owner = std::move(owner), onEnd = std::move(onEnd)](Owned*) { onEnd(); }};
}

class WatchedServer : public Rest::HttpServer {
public:
    explicit WatchedServer(std::function<void()> onEnd) : onEnd(std::move(onEnd)) {}
    WatchedServer(const WatchedServer&) = delete;
    WatchedServer& operator=(const WatchedServer&) = delete;
    ~WatchedServer() override { onEnd(); }

private:
    std::function<void()> onEnd;
};

TEST_F(ShutdownOrder, ReleasesItsMembersInTheReverseOrderOfTheStart) {
    Calls log;
    std::weak_ptr<Kel_cpp::ServerHandler> handler;
    const auto write = [&](const std::string& name) {
        return [&, name] { log.push_back(name + (handler.expired() ? "" : " before handler")); };
    };
    options.rest = true;
    configureAddress(L"10.0.0.5");
    environment.rest.port = Tests::freePort();
    environment.rest.makeServer = [&] {
        return std::make_unique<WatchedServer>(write("REST server"));
    };
    environment.getKelApi = [&] { return watched<Kel_cpp::KelApi>(api, write("facade")); };
    api->serverConfiguration = watched(api->serverConfiguration, write("configuration"));
    {
        ServerApplication application(options, environment);
        ASSERT_EQ(application.run(), 0);
        handler = api->serverHandler;
        // From here on the application's references are the last ones.
        api->serverConfiguration = nullptr;
        api->serverHandler = nullptr;
    }

    EXPECT_THAT(
        log, ElementsAre("REST server before handler", "configuration before handler", "facade"));
    EXPECT_TRUE(handler.expired());
}

} // namespace

} // namespace Quarlen::Tests
