#include "tests/kel_cpp/RuntimeClients.hpp"

#include <cstdint>

#include <gmock/gmock.h>

#include "platform/TextEncoding.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t notPossible = -32004;

} // namespace

TEST_F(RuntimeClients, StartASequenceThroughTheHandler) {
    const Quarlen::Tests::TraceCapture traces;

    EXPECT_EQ(client->result("sequence.start", {{"name", "Any.xml"}}),
              json::value({{"handled", true}}));

    EXPECT_THAT(handler->calls, ElementsAre(L"start Any.xml"));
    EXPECT_EQ(handler->usedApi, runtime);
    EXPECT_EQ(handler->client, client->name);
    EXPECT_THAT(traces.texts(),
                Contains(L"client " + client->name + L" starts sequence \"Any.xml\""));
}

TEST_F(RuntimeClients, CancelTheSequenceThroughTheHandler) {
    const Quarlen::Tests::TraceCapture traces;

    EXPECT_EQ(client->result("sequence.cancel"), json::value({{"handled", true}}));

    EXPECT_THAT(handler->calls, ElementsAre(L"cancel"));
    EXPECT_EQ(handler->usedApi, runtime);
    EXPECT_EQ(handler->client, client->name);
    EXPECT_THAT(traces.texts(),
                Contains(L"client " + client->name + L" cancels the running sequence"));
}

TEST_F(RuntimeClients, AreNotHandledWithoutAHandler) {
    runtime->setServerHandler(nullptr);

    EXPECT_EQ(client->result("sequence.start", {{"name", "a"}}), json::value({{"handled", false}}));
    EXPECT_EQ(client->result("sequence.cancel"), json::value({{"handled", false}}));
}

TEST_F(RuntimeClients, StartNothingOnceItIsShuttingDownUntilAnAddressIsStartedAnew) {
    runtime->setServerStatus(L"Shutting down");
    EXPECT_EQ(client->errorCode("sequence.start", {{"name", "Any.xml"}}), notPossible);
    // The end of the run that a shutdown has cancelled.
    runtime->setServerStatus(L"Idle");
    EXPECT_THROW(runtime->startServer(L"no adapter:58000"), KelApiException);
    EXPECT_EQ(client->errorCode("sequence.start", {{"name", "Any.xml"}}), notPossible);
    EXPECT_THAT(handler->calls, IsEmpty());
    EXPECT_EQ(client->result("runs.list"), json::array());

    close();
    open();
    EXPECT_EQ(client->result("sequence.start", {{"name", "Any.xml"}}),
              json::value({{"handled", true}}));
}

TEST_F(RuntimeClients, SeeTheScriptsProjectsConnectionsAndTheVehicle) {
    folder.write("KelServerScripts/Zulu.xml", "<KelServerScript/>");
    folder.write("KelServerScripts/Upper.XML", "<KelServerScript/>");
    folder.write("KelServerScripts/notes.txt", "no script");
    folder.write("KelServerScripts/Folder.xml/x", "");
    connect();

    EXPECT_EQ(json::serialize(client->result("sequence.list")),
              R"(["AllActions.xml","ButtonDemo.xml","ClearFaults.xml","Demo.xml","Flash.xml",)"
              R"("Upper.XML","Zulu.xml"])");
    EXPECT_EQ(json::serialize(client->result("projects.list")),
              R"(["Car_DEMO0000000042","VIN_Reader"])");
    EXPECT_EQ(json::serialize(client->result("connections.list")),
              R"(["client )" + Platform::toUtf8(client->name) +
                  R"(","vehicle of project Car_DEMO0000000042 over Simulation"])");
    EXPECT_EQ(json::serialize(client->result("vehicle.get")),
              R"({"project":"Car_DEMO0000000042","vehicleInformation":"VIT_A",)"
              R"("interface":"Simulation"})");
    runtime->selectProject(L"");
    EXPECT_EQ(json::serialize(client->result("vehicle.get")),
              R"({"project":"","vehicleInformation":"","interface":""})");
}

TEST_F(RuntimeClients, SeeNoInterfaceOnceTheConnectionIsLost) {
    folder.replaceIn("vehicle.xml", "<FlashMemory",
                     "<Fault request=\"22 00 00\" linkLost=\"true\"/><FlashMemory");
    connect();
    hexService(L"UDS_CAN_ENGINE", {0x22, 0x00, 0x00});

    EXPECT_EQ(json::serialize(client->result("vehicle.get")),
              R"({"project":"Car_DEMO0000000042","vehicleInformation":"VIT_A","interface":""})");
    EXPECT_EQ(json::serialize(client->result("connections.list")),
              R"(["client )" + Platform::toUtf8(client->name) + R"("])");
}

TEST_F(RuntimeClients, HearOfEachStatus) {
    client->result("status.subscribe");
    client->notification("status.changed");

    runtime->setServerStatus(L"one");
    runtime->setServerStatus(L"two");

    EXPECT_EQ(client->notification("status.changed").at("text"), json::value("one"));
    EXPECT_EQ(client->notification("status.changed").at("text"), json::value("two"));
    EXPECT_EQ(client->result("status.history").as_array().size(), 2U);
}

TEST_F(RuntimeClients, GetNothingButReportsOfTheReportsFolder) {
    folder.write("reports/a.html", "<p>a</p>");
    folder.write("reports/secret.txt", "no report");
    folder.write("secret.html", "elsewhere");
    const auto statusOf = [this](const std::string& name) {
        return request(address, http::verb::get, "/reports/" + name).result_int();
    };

    EXPECT_EQ(statusOf("a.html"), 200U);
    EXPECT_EQ(statusOf("secret.txt"), 404U);
    EXPECT_EQ(statusOf("../secret.html"), 404U);
    EXPECT_EQ(statusOf("..%2Fsecret.html"), 404U);
    EXPECT_EQ(statusOf("%2e%2e%5csecret.html"), 404U);
    EXPECT_EQ(statusOf(""), 404U);
    EXPECT_EQ(statusOf("%00"), 404U);
}

} // namespace Quarlen::Kel_cpp::Tests
