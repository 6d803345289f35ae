#include <functional>
#include <system_error>

#include <gmock/gmock.h>

#include "kel_server/ServerApplication.hpp"
#include "kel_server_lib/http/HttpServer.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Tests::WaitedLongEnough;

/// What is printed and called when, and what a step that fails leaves undone.
class StartOrder : public Tests::ApplicationFixture {
protected:
    /// What had been printed when the runtime was called like this.
    std::string printedBefore(const std::string& call) {
        std::string before = "not called";
        api->during(call, [this, &before] { before = printed(); });
        EXPECT_EQ(runAndDestroy(), 0);
        return before;
    }

    void presetTheFacade() {
        options.presetFacade = api;
        environment.getKelApi = []() -> std::shared_ptr<Kel_cpp::KelApi> {
            ADD_FAILURE() << "a second runtime";
            return nullptr;
        };
    }
};

TEST_F(StartOrder, AsksForTheRuntimeOnce) {
    int asked = 0;
    environment.getKelApi = [this, &asked] {
        ++asked;
        return api;
    };

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_EQ(asked, 1);
    EXPECT_EQ(api->count("initialize()"), 1U);
}

TEST_F(StartOrder, LooksAtTheConfigurationOnce) {
    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_EQ(api->count("getServerConfiguration()"), 1U);
}

TEST_F(StartOrder, MissesAnAddressAlsoWithAPresetFacade) {
    presetTheFacade();
    setArguments({});

    EXPECT_EQ(runAndDestroy(), 1);

    EXPECT_THAT(printed(), StartsWith("Missing ServerAddresses configuration"));
    EXPECT_THAT(api->callsOf({"setServerHandler"}), IsEmpty());
}

TEST_F(StartOrder, PrintsTheBannerAlsoWithAPresetFacade) {
    presetTheFacade();

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printed(), StartsWith("project path: \nserver version: 1.0.0\ncos version: \n"
                                      "server device: Unknown\n"));
}

TEST_F(StartOrder, StartsNothingConfiguredWithAPresetFacade) {
    presetTheFacade();
    setArguments({});
    configureAddress(L"10.0.0.8");

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(api->callsOf({"startServer", "stopServer"}), IsEmpty());
}

TEST_F(StartOrder, WaitsForConfiguredAddressesWithoutEvenAProgramPath) {
    options.argumentCount = 0;
    clock.onSleep([this](std::chrono::milliseconds) {
        if (clock.sleeps().size() == 3) {
            throw WaitedLongEnough();
        }
    });

    EXPECT_THROW(runAndDestroy(), WaitedLongEnough);

    EXPECT_THAT(printed(), StartsWith("waiting for network...\nwaiting for network...\n"));
}

TEST_F(StartOrder, StartsTheConfiguredAddressesWithoutEvenAProgramPath) {
    options.argumentCount = 0;
    configureAddress(L"10.0.0.8");

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_EQ(api->count("startServer(10.0.0.8:58000)"), 1U);
}

/// The configuration gets a second address while the server on the first one starts.
class StartWithAGrowingConfiguration : public StartOrder {
protected:
    StartWithAGrowingConfiguration() {
        setArguments({});
        configureAddress(L"10.0.0.8", 58001);
        api->during("startServer(10.0.0.8:58001)",
                    [this] { configureAddress(L"10.0.0.9", 58002); });
    }
};

TEST_F(StartWithAGrowingConfiguration, TriesOneAddressOnlyWithABroker) {
    api->serverSettings->brokerUrl = L"http://broker";

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(api->callsOf({"startServer"}), ElementsAre("startServer(10.0.0.8:58001)"));
}

TEST_F(StartWithAGrowingConfiguration, TriesTheNewAddressWithoutABroker) {
    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(api->callsOf({"startServer"}),
                ElementsAre("startServer(10.0.0.8:58001)", "startServer(10.0.0.9:58002)"));
}

TEST_F(StartOrder, PrintsTheSovdLineOnlyAfterItsStart) {
    options.sovd = true;

    EXPECT_THAT(printedBefore("startSovdServer"), Not(HasSubstr("SOVD")));

    EXPECT_TRUE(printedLine("SOVD server started"));
}

TEST_F(StartOrder, PrintsNoSovdLineWhenItsStartFails) {
    options.sovd = true;
    api->throwIn("startSovdServer", L"broken", 1);

    EXPECT_EQ(runAndDestroy(), 2);

    EXPECT_THAT(printed(), Not(HasSubstr("SOVD")));
}

TEST_F(StartOrder, PrintsTheRestLineOnlyAfterItsStart) {
    options.rest = true;
    std::string before;
    environment.rest.makeServer = [&]() -> std::unique_ptr<Rest::HttpServer> {
        before = printed();
        return nullptr;
    };

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(before, EndsWith("server device: Unknown\n"));
    EXPECT_TRUE(printedLine("REST server started"));
}

TEST_F(StartOrder, IsIdleBeforeTheRestApiStarts) {
    options.rest = true;
    Calls before;
    environment.rest.makeServer = [&]() -> std::unique_ptr<Rest::HttpServer> {
        before = api->callsOf({"setServerHandler", "setServerStatus"});
        return nullptr;
    };

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(before, ElementsAre("setServerHandler(handler)", "setServerStatus(Idle)"));
}

TEST_F(StartOrder, HasTheSovdServerBeforeTheStartSequence) {
    options.sovd = true;
    api->serverConfiguration->startSequence = L"Start.xml";

    EXPECT_THAT(printedBefore("setServerStatus(Running start sequence: Start.xml)"),
                HasSubstr("\nSOVD server started\n"));
}

TEST_F(StartOrder, PrintsTheStartSequenceBeforeItIsTheStatus) {
    api->serverConfiguration->startSequence = L"Start.xml";

    EXPECT_THAT(printedBefore("setServerStatus(Running start sequence: Start.xml)"),
                EndsWith("\nRunning start sequence: Start.xml\n"));
}

TEST_F(StartOrder, NamesTheButtonsOnlyAfterTheStartSequence) {
    api->serverConfiguration->startSequence = L"Start.xml";
    api->serverConfiguration->f1Sequence = L"One.xml";

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printed(), HasSubstr("Running start sequence: Start.xml\nFile not found: " +
                                     (folder.path() / "KelServerScripts" / "Start.xml").string() +
                                     "\nPress F1 to run sequence: One.xml\n"));
}

TEST_F(StartOrder, SaysWhatItStartsAlsoWhenItIsNotVerbose) {
    options.verbose = false;
    options.rest = true;
    options.sovd = true;
    environment.rest.makeServer = []() -> std::unique_ptr<Rest::HttpServer> { return nullptr; };
    api->serverConfiguration->startSequence = L"Start.xml";
    api->serverConfiguration->f1Sequence = L"One.xml";
    api->serverConfiguration->f2Sequence = L"Two.xml";

    EXPECT_EQ(runAndDestroy(), 0);

    for (const char* const line :
         {"REST server started", "SOVD server started", "Running start sequence: Start.xml",
          "Press F1 to run sequence: One.xml", "Press F2 to run sequence: Two.xml"}) {
        EXPECT_TRUE(printedLine(line)) << line;
    }
}

TEST_F(StartOrder, RunsTheStartSequenceByItsName) {
    api->serverConfiguration->startSequence = L"Start.xml";
    ServerApplication application(options, environment);

    ASSERT_EQ(application.run(), 0);

    // The status is the run's own: one whose script is missing leaves it as it is.
    EXPECT_THAT(api->callsOf({"setServerStatus"}),
                ElementsAre("setServerStatus(Idle)",
                            "setServerStatus(Running start sequence: Start.xml)",
                            "setServerStatus(Running sequence: Start.xml)"));
}

/// A call of the runtime with which the start sequence fails.
class FailingStartSequence : public StartOrder, public testing::WithParamInterface<const char*> {};

TEST_P(FailingStartSequence, EndsTheStartWithTwo) {
    options.nonInteractive = false;
    api->serverConfiguration->startSequence = L"Start.xml";
    api->serverConfiguration->f1Sequence = L"One.xml";
    api->throwIn(GetParam(), L"broken", -7);

    EXPECT_EQ(runAndDestroy(), 2);

    EXPECT_TRUE(printedLine("Exception caught: broken code: -7"));
    EXPECT_THAT(printed(), Not(HasSubstr("Press F1")));
    EXPECT_THAT(printed(), Not(HasSubstr("Enter 'q'")));
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingStartSequence,
                         testing::Values("setServerStatus(Running start sequence: Start.xml)",
                                         "setServerStatus(Running sequence: Start.xml)"));

TEST_F(StartOrder, EndsWithTheErrorOfAKeyboardThreadThatCannotBeCreated) {
    options.nonInteractive = false;
    environment.startDetachedThread = [](const std::function<void()>&) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    };

    try {
        runAndDestroy();
        FAIL() << "nothing thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
    }

    EXPECT_THAT(printed(), HasSubstr("\nEnter 'q' and Enter to exit\n"));
    EXPECT_THAT(printed(), Not(HasSubstr("Exception caught")));
}

TEST_F(StartOrder, WaitsNotAtAllForAStopThatIsRequestedAlready) {
    ServerApplication application(options, environment);
    ASSERT_EQ(application.run(), 0);
    environment.stopRequested->store(true);

    application.waitForStop();

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(StartOrder, LooksAtTheStopOnceAfterEverySecond) {
    clock.onSleep([this](std::chrono::milliseconds) {
        environment.stopRequested->store(clock.sleeps().size() == 2);
        if (clock.sleeps().size() == 5) {
            throw WaitedLongEnough();
        }
    });
    ServerApplication application(options, environment);
    ASSERT_EQ(application.run(), 0);

    application.waitForStop();

    EXPECT_THAT(clock.sleeps(), ElementsAre(std::chrono::seconds(1), std::chrono::seconds(1)));
}

TEST_F(StartOrder, HasNoStopRequestedAtFirst) {
    EXPECT_FALSE(ApplicationEnvironment().stopRequested->load());
}

/// No text can be made of it.
const std::wstring broken(1, static_cast<wchar_t>(0xD800));

TEST_F(StartOrder, PrintsTextsOfTheRuntimeThatCannotBeConvertedAsEmpty) {
    api->startedAddress = [](const std::wstring&) { return broken; };
    api->pathSettings->projectsPath = broken;
    api->serverVersion = broken;
    api->deviceInfo->cosVersion = broken;

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printed(), StartsWith("server address: \nproject path: \nserver version: \n"
                                      "cos version: \nserver device: Unknown\n"));
}

TEST_F(StartOrder, PrintsNamesOfSequencesThatCannotBeConvertedAsEmpty) {
    api->serverConfiguration->startSequence = broken;
    api->serverConfiguration->f1Sequence = broken;
    api->serverConfiguration->f2Sequence = broken;

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printed(), HasSubstr("\nRunning start sequence: \n"));
    EXPECT_THAT(printed(), HasSubstr("\nPress F1 to run sequence: \n"
                                     "Press F2 to run sequence: \n"));
}

TEST_F(StartOrder, PrintsTheMessageOfAnExceptionThatCannotBeConvertedAsEmpty) {
    api->throwIn("setServerHandler", broken, 9);

    EXPECT_EQ(runAndDestroy(), 2);

    EXPECT_TRUE(printedLine("Exception caught:  code: 9"));
}

} // namespace

} // namespace Quarlen::Tests
