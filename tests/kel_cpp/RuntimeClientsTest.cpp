#include <filesystem>
#include <functional>
#include <optional>

#include <gmock/gmock.h>

#include "kel_server_lib/runtime/ServerHandler.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TestPaths.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Quarlen::Tests::FlashCollector;
using Quarlen::Tests::QuickTestCollector;
using Quarlen::Tests::ServiceCollector;
using testing::Contains;
using testing::ElementsAre;

/// Does what a test gives it as a sequence.
class ScriptedHandler : public ServerHandler {
public:
    void onNotification0(std::uint64_t /*code*/, std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}
    void onNotification1(std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}
    void onNotification4(std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}
    void onNotification5(std::shared_ptr<Record> /*first*/,
                         std::shared_ptr<Record> /*second*/) override {}

    void startSequence(std::wstring name, std::shared_ptr<KelApi> api,
                       std::shared_ptr<ClientContext> context, bool& handled) override {
        EXPECT_FALSE(handled);
        calls.push_back(L"start " + name);
        usedApi = api;
        client = context->text;
        api->setServerStatus(L"Running sequence: " + name);
        sequence();
        api->setServerStatus(L"Idle");
        handled = true;
    }
    void cancelSequence(std::shared_ptr<KelApi> api, std::shared_ptr<ClientContext> context,
                        bool& handled) override {
        EXPECT_FALSE(handled);
        calls.emplace_back(L"cancel");
        usedApi = std::move(api);
        client = context->text;
        handled = true;
    }

    std::vector<std::wstring> calls;
    std::shared_ptr<KelApi> usedApi;
    std::wstring client;
    std::function<void()> sequence = [] {};
};

class RuntimeClients : public RuntimeFixture {
protected:
    void SetUp() override {
        RuntimeFixture::SetUp();
        std::filesystem::remove_all(folder.config() / "data" / "flashdata");
        std::filesystem::create_directories(folder.config() / "data");
        std::filesystem::copy(Quarlen::Tests::flashDataFolder(),
                              folder.config() / "data" / "flashdata");
        open();
    }
    void TearDown() override { close(); }

    void open() {
        runtime->setServerHandler(handler);
        address = runtime->startServer(L"127.0.0.1:" + std::to_wstring(Quarlen::Tests::freePort()));
        client.emplace(address);
    }
    void close() {
        client.reset();
        runtime->stopServer(address);
        handler->usedApi.reset();
    }

    /// The record of a run that does this.
    json::object runOf(std::function<void()> sequence) {
        handler->sequence = std::move(sequence);
        client->result("sequence.start", {{"name", "Test.xml"}});
        const json::array runs = client->result("runs.list").as_array();
        return client->result("runs.get", {{"id", runs.back().at("id")}}).as_object();
    }
    void runProcedure(const std::wstring& name) {
        ServiceCollector reports;
        runtime->executeService(L"#OTX", inputsOf({name}), &reports);
        ASSERT_TRUE(reports.waitForLast());
    }

    std::shared_ptr<ScriptedHandler> handler = std::make_shared<ScriptedHandler>();
    std::wstring address;
    std::optional<RpcTestClient> client;
};

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

TEST_F(RuntimeClients, FindTheVerdictOfAProcedureInTheRun) {
    const json::object run = runOf([this] {
        connect();
        runProcedure(L"Otx_ReadIdent");
    });

    EXPECT_EQ(run.at("outcome"), json::value("clean"));
    EXPECT_EQ(run.at("client"), json::value(Platform::toUtf8(client->name)));
    const json::value& job = run.at("jobs").at(0);
    EXPECT_EQ(job.at("kind"), json::value("procedure"));
    EXPECT_EQ(job.at("name"), json::value("Otx_ReadIdent"));
    EXPECT_EQ(job.at("outcome"), json::value("passed"));
    EXPECT_EQ(job.at("summary"), json::value("Identification read"));
    EXPECT_EQ(json::serialize(job.at("items")),
              R"([{"name":"verdict","passed":true,"text":"Identification read"}])");
}

TEST_F(RuntimeClients, FindTheFailureOfAProcedureInTheRun) {
    const json::object run = runOf([this] {
        connect();
        runProcedure(L"Otx_Fail");
    });

    EXPECT_EQ(run.at("outcome"), json::value("findings"));
    const json::value& job = run.at("jobs").at(0);
    EXPECT_EQ(job.at("outcome"), json::value("failed"));
    EXPECT_EQ(job.at("items").at(0).at("name"), json::value("failure"));
    EXPECT_EQ(job.at("items").at(0).at("passed"), json::value(false));
    EXPECT_EQ(job.at("items").at(0).at("text"), job.at("summary"));
}

TEST_F(RuntimeClients, FindACancelledJobInTheRun) {
    close();
    folder.replaceIn("projects/Car_DEMO0000000042/project.xml", "milliseconds=\"10000\"",
                     "milliseconds=\"3600000\"");
    useRealTime();
    open();
    const json::object run = runOf([this] {
        connect();
        ServiceCollector reports;
        const auto id = runtime->executeService(L"#OTX", inputsOf({L"Otx_Slow"}), &reports);
        runtime->cancelJobs({id});
        ASSERT_TRUE(reports.waitForLast());
    });

    EXPECT_EQ(run.at("jobs").at(0).at("outcome"), json::value("cancelled"));
    EXPECT_EQ(run.at("outcome"), json::value("cancelled"));
}

TEST_F(RuntimeClients, FindWhatARawRequestSaidInTheRun) {
    const json::object run = runOf([this] {
        connect();
        auto inputs = inputsOf({L"HexService"});
        inputs[0]->requestBytes = {0x22, 0x00, 0x01};
        ServiceCollector reports;
        runtime->executeService(L"UDS_CAN_D", inputs, &reports);
        ASSERT_TRUE(reports.waitForLast());
    });

    EXPECT_EQ(run.at("jobs").at(0).at("kind"), json::value("service"));
    EXPECT_EQ(run.at("jobs").at(0).at("name"), json::value("HexService"));
    EXPECT_EQ(run.at("jobs").at(0).at("outcome"), json::value("failed"));
    EXPECT_EQ(run.at("outcome"), json::value("findings"));
}

TEST_F(RuntimeClients, FindTheSummaryOfAQuickTestAndItsReportInTheRun) {
    client->result("status.subscribe");
    const json::object run = runOf([this] {
        connect();
        QuickTestCollector reports;
        auto dtcs = std::make_shared<DtcReadConfig>();
        dtcs->statusMask = 0xFF;
        runtime->performQuickTest(std::make_shared<QuicktestConfig>(), dtcs, &reports);
        ASSERT_TRUE(reports.waitForLast());
        std::wstring file;
        runtime->createVehicleReport(file, L"End", dtcs, reports.results(),
                                     std::make_shared<VehicleReportConfig>());
    });

    const json::value& job = run.at("jobs").at(0);
    EXPECT_EQ(job.at("kind"), json::value("quickTest"));
    EXPECT_EQ(job.at("name"), json::value("VIT_A"));
    EXPECT_EQ(job.at("summary"), json::value("3 of 3 control units read, 7 faults"));
    EXPECT_EQ(job.at("items").at(0),
              json::value({{"name", "ENGINE"}, {"passed", true}, {"text", "3 faults"}}));
    EXPECT_EQ(job.at("items").at(1).at("text"), json::value("2 faults"));
    const json::object progress = client->notification("job.progress");
    EXPECT_EQ(progress.at("controlUnit"), json::value("ENGINE"));
    EXPECT_EQ(progress.at("unit"), json::value("units"));
    EXPECT_EQ(progress.at("done"), json::value(1));
    EXPECT_EQ(progress.at("total"), json::value(3));
    const std::string report(run.at("reports").at(0).as_string());
    EXPECT_EQ(client->result("reports.list").at(0).at("name"), json::value(report));
    EXPECT_EQ(request(address, http::verb::get, "/reports/" + report).body(),
              folder.read("reports/" + report));
}

TEST_F(RuntimeClients, FindWhatTheRunHasDoneInItsReport) {
    const json::object run = runOf([this] {
        connect();
        ServiceCollector reports;
        runtime->executeService(L"#OTX", inputsOf({L"Otx_ReadIdent"}), &reports);
        ASSERT_TRUE(reports.waitForLast());
        std::wstring file;
        runtime->createVehicleReport(file, L"End", nullptr, {},
                                     std::make_shared<VehicleReportConfig>());
    });

    const std::string page =
        folder.read("reports/" + std::string(run.at("reports").at(0).as_string()));
    EXPECT_NE(page.find("<strong>Otx_ReadIdent</strong><p>Identification read</p>"),
              std::string::npos);
    EXPECT_NE(page.find("<span class=\"badge good\">Passed</span>"), std::string::npos);
}

TEST_F(RuntimeClients, FindAControlUnitThatDidNotAnswerInTheQuickTest) {
    const json::object run = runOf([this] {
        connect();
        QuickTestCollector reports;
        auto config = std::make_shared<QuicktestConfig>();
        config->everyControlUnit = false;
        config->targets = {L"ENGINE", L"NOBODY"};
        runtime->performQuickTest(config, nullptr, &reports);
        ASSERT_TRUE(reports.waitForLast());
    });

    const json::value& job = run.at("jobs").at(0);
    EXPECT_EQ(job.at("outcome"), json::value("failed"));
    EXPECT_EQ(job.at("summary"), json::value("1 of 2 control units read, faults not asked for"));
    EXPECT_EQ(job.at("items").at(1).at("passed"), json::value(false));
    EXPECT_EQ(run.at("outcome"), json::value("clean"));
}

TEST_F(RuntimeClients, FindTheSessionsOfAFlashInTheRunAndHowFarTheyWere) {
    client->result("status.subscribe");
    const json::object run = runOf([this] {
        connect();
        FlashCollector reports;
        runtime->executeFlashSessions(L"ENGINE", {L"ENGINE_APP", L"ENGINE_DATA"}, 0, &reports);
        ASSERT_TRUE(reports.waitForLast());
    });

    const json::value& job = run.at("jobs").at(0);
    EXPECT_EQ(job.at("kind"), json::value("flash"));
    EXPECT_EQ(job.at("name"), json::value("ENGINE"));
    EXPECT_EQ(job.at("outcome"), json::value("passed"));
    EXPECT_EQ(json::serialize(job.at("items")),
              R"([{"name":"ENGINE_APP","passed":true,"text":""},)"
              R"({"name":"ENGINE_DATA","passed":true,"text":""}])");
    json::object progress = client->notification("job.progress");
    EXPECT_EQ(progress.at("controlUnit"), json::value("ENGINE"));
    EXPECT_EQ(progress.at("unit"), json::value("bytes"));
    EXPECT_EQ(progress.at("total"), json::value(100000));
    // During the erase no byte is there yet.
    while (progress.at("done").as_int64() == 0) {
        progress = client->notification("job.progress");
    }
    EXPECT_LE(progress.at("done").as_int64(), 100000);
}

TEST_F(RuntimeClients, FindTheFailureOfAFlashInTheRun) {
    folder.write("data/flashdata/engine_data.bin", "other content");
    const json::object run = runOf([this] {
        connect();
        FlashCollector reports;
        runtime->executeFlashSessions(L"ENGINE", {L"ENGINE_DATA"}, 0, &reports);
        ASSERT_TRUE(reports.waitForLast());
    });

    EXPECT_EQ(run.at("outcome"), json::value("findings"));
    const json::value& item = run.at("jobs").at(0).at("items").at(0);
    EXPECT_EQ(item.at("name"), json::value("ENGINE_DATA"));
    EXPECT_EQ(item.at("passed"), json::value(false));
    EXPECT_EQ(item.at("text"), run.at("jobs").at(0).at("summary"));
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
