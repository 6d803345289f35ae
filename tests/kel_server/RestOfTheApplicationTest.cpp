#include <thread>

#include <gmock/gmock.h>

#include "kel_server/ServerApplication.hpp"
#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/RawClient.hpp"

namespace Quarlen::Tests {

namespace {

using testing::HasSubstr;
using testing::Not;

/// The REST server's place in start-up and shutdown.
class RestOfTheApplication : public Tests::ApplicationFixture {
protected:
    RestOfTheApplication() {
        options.rest = true;
        options.sovd = true;
        environment.rest.port = port;
        clock.onSleep([](auto) { std::this_thread::yield(); });
    }

    const std::uint16_t port = Tests::freePort();
    const std::string url = "http://localhost:" + std::to_string(port);
};

TEST_F(RestOfTheApplication, StartsBetweenTheIdleStatusAndTheSovdServer) {
    std::string printedBefore;
    std::string printedAfter;
    api->during("setServerStatus(Idle)", [&] {
        if (printedBefore.empty()) {
            printedBefore = printed();
        }
    });
    api->during("startSovdServer", [&] { printedAfter = printed(); });

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printedBefore, Not(HasSubstr("REST")));
    EXPECT_THAT(printedAfter,
                HasSubstr("\nREST API Listening in " + url + "\nREST server started\n"));
}

TEST_F(RestOfTheApplication, IsSaidInItsPlaceAmongAllThatIsStarted) {
    folder.write("KelServerScripts/Start.xml", "<KelServerScript/>");
    api->serverConfiguration->startSequence = L"Start.xml";
    api->serverConfiguration->f1Sequence = L"One.xml";
    api->serverConfiguration->f2Sequence = L"Two.xml";
    options.nonInteractive = false;
    std::string banner;
    api->during("setServerHandler", [&] { banner = printed(); });
    ServerApplication application(options, environment);

    ASSERT_EQ(application.run(), 0);

    EXPECT_THAT(banner, testing::EndsWith("\nserver device: Unknown\n"));
    EXPECT_EQ(printed().substr(banner.size()), "REST API Listening in " + url +
                                                   "\nREST server started\n"
                                                   "SOVD server started\n"
                                                   "Running start sequence: Start.xml\n"
                                                   "Press F1 to run sequence: One.xml\n"
                                                   "Press F2 to run sequence: Two.xml\n"
                                                   "Enter 'q' and Enter to exit\n");
}

TEST_F(RestOfTheApplication, StopsBeforeEverythingElse) {
    std::string printedBefore;
    api->during("stopSovdServer", [&] { printedBefore = printed(); });

    runAndDestroy();

    EXPECT_THAT(printedBefore,
                HasSubstr("\nShutting down kel_server\nREST API stop listening in " + url + "\n"));
}

TEST_F(RestOfTheApplication, IsNotThereWithoutItsOption) {
    options.rest = false;

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printed(), Not(HasSubstr("REST")));
}

TEST_F(RestOfTheApplication, GoesOnWhenThePortIsTaken) {
    const Tests::TakenPort taken;
    environment.rest.port = taken.number();

    EXPECT_EQ(runAndDestroy(), 0);

    EXPECT_THAT(printed(), HasSubstr("\nREST API server failed to stop listening in "
                                     "http://localhost:" +
                                     std::to_string(taken.number()) +
                                     "\nREST server started\nSOVD server started\n"));
}

TEST_F(RestOfTheApplication, EndsTheWaitWhenAClientAsksForTheStop) {
    ServerApplication application(options, environment);
    ASSERT_EQ(application.run(), 0);
    Tests::RawClient client(port);
    client.send("PUT /kel/v1/stop HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"status\":\"OK\"}"));

    application.waitForStop();

    EXPECT_THAT(printed(), Not(HasSubstr("Shutting down")));
}

TEST_F(RestOfTheApplication, ReleasesTheFacadeWithTheApplication) {
    const long before = api.use_count();

    runAndDestroy();

    EXPECT_EQ(Rest::facade(), nullptr);
    api->serverHandler.reset();
    EXPECT_EQ(api.use_count(), before);
}

TEST_F(RestOfTheApplication, PrintsNoLinesOfItsListeningWhenItIsNotVerbose) {
    options.verbose = false;

    runAndDestroy();

    EXPECT_THAT(printed(), HasSubstr("REST server started\n"));
    EXPECT_THAT(printed(), Not(HasSubstr("REST API")));
}

} // namespace

} // namespace Quarlen::Tests
