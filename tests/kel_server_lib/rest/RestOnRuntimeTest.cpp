#include <array>
#include <regex>
#include <string_view>
#include <thread>

#include "tests/kel_cpp/NetworkVehicle.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

/// The REST API in front of the built-in runtime with the example configuration.
class RestOnRuntime : public Kel_cpp::Tests::RuntimeFixture {
protected:
    void SetUp() override {
        useRealTime();
        startRest();
    }

    void startRest() {
        const DevicePaths devices{.ledPrefix = (folder.base() / "no-led").string(),
                                  .f1Sensor = (folder.base() / "no-f1").string(),
                                  .f2Sensor = (folder.base() / "no-f2").string()};
        handler = std::make_shared<ServerHandlerSequence>(
            SequenceEnvironment{.console = console,
                                .devices = devices,
                                .configPath = StdUtil::PathString(folder.config())});
        rest = std::make_unique<RESTServer>(
            stopRequested, handler, true,
            RestEnvironment{.clock = impatient, .console = console, .port = port});
        ASSERT_TRUE(rest->start(runtime));
    }

    /// Everything anew on the configuration as it is now.
    void restartServer() {
        rest.reset();
        handler.reset();
        restart();
        startRest();
    }

    HttpReply get(const std::string& path) const { return request(port, "GET", path); }
    HttpReply put(const std::string& path, const std::string& body = {}) const {
        return request(port, "PUT", path, body);
    }

    const std::uint16_t port = freePort();
    ImpatientClock impatient;
    std::ostringstream output;
    Platform::Console console{output};
    std::atomic<bool> stopRequested{false};
    std::shared_ptr<ServerHandlerSequence> handler;
    std::unique_ptr<RESTServer> rest;
};

TEST_F(RestOnRuntime, ListsTheProceduresOfAProjectForEachVehicleInformation) {
    const HttpReply reply = get("/kel/v1/projects/Car_DEMO0000000042/otx");

    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(reply.body, HasSubstr(R"({"name":"Otx_ReadIdent","vehicleInformation":"VIT_A"})"));
    EXPECT_THAT(reply.body, HasSubstr(R"({"name":"Otx_ReadIdent","vehicleInformation":"VIT_B"})"));
    EXPECT_TRUE(runtime->getSelectedProjectName().empty());
    EXPECT_FALSE(runtime->getServerSettings()->optionOtxListing);
}

TEST_F(RestOnRuntime, AnswersAnUnknownProjectWithItsNameAndLeavesTheListingOn) {
    const HttpReply reply = get("/kel/v1/projects/Nowhere/otx");

    EXPECT_EQ(reply.status, 500);
    EXPECT_THAT(reply.body, HasSubstr("Nowhere"));
    EXPECT_TRUE(runtime->getServerSettings()->optionOtxListing);
}

TEST_F(RestOnRuntime, WritesTheTraceFileOnceTracingIsOnAndRemembersIt) {
    EXPECT_EQ(put("/kel/v1/tracing", R"({"tracing":true})").body, R"({"status":"OK"})");
    EXPECT_EQ(get("/kel/v1/tracing").body, R"({"tracing":true})");
    restartServer();

    EXPECT_EQ(get("/kel/v1/tracing").body, R"({"tracing":true})");
    EXPECT_EQ(put("/kel/v1/tracing", R"({"tracing":false})").status, 200);

    const std::string traces = folder.read("traces/kel_server.log");
    EXPECT_THAT(traces, HasSubstr("kel_server_lib/RESTServer:197 Received Command: get : "
                                  "/kel/v1/tracing\n"));
}

TEST_F(RestOnRuntime, SwitchesTheSimulationAndRemembersIt) {
    EXPECT_EQ(get("/kel/v1/simulation").body, R"({"enabled":true})");
    EXPECT_EQ(put("/kel/v1/simulation", R"({"enable":false})").status, 200);
    restartServer();

    EXPECT_EQ(get("/kel/v1/simulation").body, R"({"enabled":false})");
}

TEST_F(RestOnRuntime, SwitchesBetweenTheSimulatedAndTheRealVehicleWithTheNextConnect) {
    Kel_cpp::Tests::NetworkVehicle vehicle(folder);
    vehicle.name(folder);
    restartServer();

    EXPECT_EQ(put("/kel/v1/simulation", R"({"enable":false})").status, 200);
    connect();
    EXPECT_EQ(vehicle.testers(), 1U);
    EXPECT_EQ(put("/kel/v1/simulation", R"({"enable":true})").status, 200);
    EXPECT_EQ(vehicle.testers(), 1U);
    connect();
    while (vehicle.testers() > 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(put("/kel/v1/simulation", R"({"enable":false})").status, 200);
    EXPECT_EQ(vehicle.testers(), 0U);
    connect();
    EXPECT_EQ(vehicle.testers(), 1U);
}

TEST_F(RestOnRuntime, TellsTheVersions) {
    EXPECT_TRUE(std::regex_match(
        get("/kel/v1/version").body,
        std::regex(R"(\{"cosVersion":".*","dpduVersion":".+","version":"1\.0\.0"\})")));
}

TEST_F(RestOnRuntime, NamesAnUpdatePackageThatIsNotThere) {
    const HttpReply reply = put("/kel/v1/update", R"([{"patchName":"Missing.zip"}])");

    EXPECT_EQ(reply.status, 500);
    EXPECT_THAT(reply.body, HasSubstr("Missing.zip"));
}

TEST_F(RestOnRuntime, RefusesAnUpdatePackageOutsideTheUpdateFolder) {
    const HttpReply reply = put("/kel/v1/update", R"([{"patchName":"../config/KelServer.xml"}])");

    EXPECT_EQ(reply.status, 500);
    EXPECT_THAT(reply.body, HasSubstr("errorMessage"));
}

struct MixedRequest {
    const char* method;
    const char* path;
    const char* body;
    int status = 200;
};

constexpr std::array<MixedRequest, 13> mixedRequests{{
    {"GET", "/kel/v1/configurations", ""},
    {"GET", "/kel/v1/tracing", ""},
    {"PUT", "/kel/v1/tracing", R"({"tracing":false})"},
    {"GET", "/kel/v1/projects/Car_DEMO0000000042/otx", ""},
    {"PUT", "/kel/v1/stop", ""},
    {"GET", "/kel/v1/version", ""},
    {"GET", "/kel/v1/health", ""},
    {"PUT", "/kel/v1/update", "[]"},
    {"GET", "/kel/v1/simulation", ""},
    {"PUT", "/kel/v1/simulation", R"({"enable":true})"},
    {"PUT", "/kel/v1/scripts/F1", R"({"script":"Demo.xml"})"},
    {"PUT", "/kel/v1/sequence/abort", ""},
    {"GET", "/kel/v1/unknown", "", 404},
}};

TEST_F(RestOnRuntime, ServesTwoHundredClientsWhileSequencesRun) {
    std::atomic<bool> ended{false};
    std::thread sequences([&] {
        while (!ended) {
            handler->runSequence(L"Demo.xml", runtime);
        }
    });
    std::vector<std::thread> clients;
    for (std::size_t client = 0; client < 200; ++client) {
        clients.emplace_back([this, client] {
            for (std::size_t step = 0; step < 4; ++step) {
                const auto& [method, path, body, status] =
                    mixedRequests[(client + 3 * step) % mixedRequests.size()];
                // There is one selected project: it may be somebody else's just then.
                const bool selects = std::string_view(path).ends_with("/otx");
                const HttpReply reply = request(port, method, path, body);
                EXPECT_THAT(reply.status, AnyOf(status, selects ? 500 : status))
                    << method << ' ' << path << ": " << reply.reason;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    ended = true;
    sequences.join();

    EXPECT_TRUE(stopRequested);
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

} // namespace

} // namespace Quarlen::Tests
