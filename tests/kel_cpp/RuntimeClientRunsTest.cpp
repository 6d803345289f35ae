#include "tests/kel_cpp/RuntimeClients.hpp"

// What a client finds in the record of a run.

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Quarlen::Tests::FlashCollector;
using Quarlen::Tests::QuickTestCollector;
using Quarlen::Tests::ServiceCollector;

} // namespace

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

} // namespace Quarlen::Kel_cpp::Tests
