#include <algorithm>
#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "kel_server_lib/rest/RESTServer.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_server_lib/http/PatientServer.hpp"
#include "tests/support/HttpReply.hpp"
#include "tests/support/LoopbackPort.hpp"

namespace Quarlen::Tests {

namespace {

using Kel_cpp::Tests::RpcTestClient;
namespace json = boost::json;

constexpr int clientCount = 50;

/// Real time, but nobody waits long between two looks.
class ImpatientRealClock : public Platform::Clock {
public:
    void sleepFor(std::chrono::milliseconds /*duration*/) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    [[nodiscard]] TimePoint now() const override { return std::chrono::steady_clock::now(); }
};

/// Clients, sequences and the built-in runtime, as in the program.
class ClientsOnRuntime : public Kel_cpp::Tests::RuntimeFixture {
protected:
    void SetUp() override {
        // Far longer than a busy machine needs to see it run.
        folder.replaceIn("projects/Car_DEMO0000000042/project.xml", "milliseconds=\"10000\"",
                         "milliseconds=\"100000\"");
        useRealTime();
        const std::string connect = "<SelectAction project='Car_DEMO0000000042' "
                                    "vehicleInformation='VIT_A' autoConnect='true'/>";
        writeScript("Slow.xml", connect + "<ExecuteAction command='Otx_Slow'/>"
                                          "<ExecuteAction command='Otx_ReadIdent'/>");
        writeScript("Read.xml", connect + "<ExecuteAction command='Otx_ReadIdent'/>");
        runtime->setServerHandler(handler);
        address = runtime->startServer(L"127.0.0.1:" + std::to_wstring(freePort()));
    }
    void TearDown() override {
        bool handled = false;
        handler->cancelSequence(runtime, nullptr, handled);
        runtime->stopServer(address);
        handler->stopScriptThreads();
        runtime->setServerHandler(nullptr);
    }

    void writeScript(const std::string& name, const std::string& actions) const {
        folder.write("KelServerScripts/" + name,
                     "<KelServerScript>" + actions + "</KelServerScript>");
    }
    [[nodiscard]] SequenceEnvironment environment() {
        const DevicePaths devices{.ledPrefix = (folder.base() / "leds/2.").string(),
                                  .f1Sensor = (folder.base() / "f1").string(),
                                  .f2Sensor = (folder.base() / "f2").string()};
        return {.clock = impatient,
                .console = console,
                .devices = devices,
                .configPath = StdUtil::PathString(folder.config())};
    }
    void moveHand(const std::string& reading) const {
        for (const char* const sensor : {"../f1", "../f2"}) {
            folder.write(sensor, reading + "\n");
        }
    }
    /// Moves a hand to the buttons and away again until one of them has begun a run.
    void pressButtons() const;
    /// What one of many clients does; some vanish in the middle of it.
    void act(int number);
    void useRest(std::uint16_t port) const;

    ImpatientRealClock impatient;
    std::ostringstream output;
    Platform::Console console{output};
    std::shared_ptr<ServerHandlerSequence> handler =
        std::make_shared<ServerHandlerSequence>(environment());
    std::wstring address;
    /// A cancel puts the buttons to rest, so it comes after their run.
    std::latch pressed{1};
};

void ClientsOnRuntime::pressButtons() const {
    RpcTestClient client(address);
    const auto hasRun = [&] {
        const json::value runs = client.result("runs.list");
        return std::ranges::any_of(runs.as_array(), [](const json::value& run) {
            return run.at("client") == json::value("");
        });
    };
    // A button needs several readings for a press, for which its thread may get too little time.
    std::chrono::milliseconds time{50};
    for (bool isNear = true;; isNear = !isNear, time *= 2) {
        moveHand(isNear ? "9000" : "1000");
        const auto end = impatient.now() + time;
        for (int look = 0; look < 50 || impatient.now() < end; ++look) {
            if (hasRun()) {
                return;
            }
        }
    }
}

void ClientsOnRuntime::useRest(std::uint16_t port) const {
    // So few that the status texts, which all clients get, are no more than a client may lag
    // behind.
    constexpr int rounds = 20;
    for (int round = 0; round < rounds; ++round) {
        EXPECT_EQ(request(port, "PUT", "/kel/v1/sequence/abort").status, 200);
        EXPECT_EQ(request(port, "PUT", "/kel/v1/scripts/F1", R"({"script":"Read.xml"})").status,
                  200);
    }
}

void ClientsOnRuntime::act(int number) {
    RpcTestClient client(address);
    client.result("status.subscribe");
    if (number % 5 == 0) {
        client.send(R"({"jsonrpc":"2.0","id":1,"method":"sequence.start",)"
                    R"("params":{"name":"Read.xml"}})");
        client.vanish();
    } else if (number % 5 == 1) {
        pressed.wait();
        client.result("sequence.cancel");
    } else {
        // Refused where too many wait.
        client.call("sequence.start", {{"name", "Read.xml"}});
        client.result("runs.list");
    }
}

} // namespace

TEST_F(ClientsOnRuntime, ACancelOfAClientEndsTheRunOfAnother) {
    RpcTestClient starter(address);
    RpcTestClient canceller(address);
    starter.result("status.subscribe");
    starter.send(
        R"({"jsonrpc":"2.0","id":100,"method":"sequence.start","params":{"name":"Slow.xml"}})");
    while (starter.notification("status.changed").at("text") !=
           json::value("Running execute action: Otx_Slow")) {
    }
    while (handler->currentJobId == 0) {
        std::this_thread::yield();
    }

    EXPECT_EQ(canceller.result("sequence.cancel"), json::value({{"handled", true}}));

    EXPECT_EQ(starter.responseTo(100).at("result"), json::value({{"handled", true}}));
    const json::value run = canceller.result("runs.get", {{"id", 1}});
    EXPECT_EQ(run.at("outcome"), json::value("cancelled"));
    EXPECT_EQ(run.at("jobs").as_array().size(), 1U);
    EXPECT_EQ(runtime->getSelectedProjectName(), L"");
}

TEST_F(ClientsOnRuntime, FiftyClientsActWhileButtonsAndTheRestApiDo) {
    moveHand("1000");
    handler->startF1ScriptThread(L"Read.xml", runtime);
    handler->startF2ScriptThread(L"Read.xml", runtime);
    std::atomic<bool> stopRequested{false};
    const std::uint16_t port = freePort();
    RESTServer rest(
        stopRequested, handler, true,
        RestEnvironment{.clock = impatient, .console = console, .port = port, .makeServer = [] {
                            return Rest::Tests::patientServer();
                        }});
    ASSERT_TRUE(rest.start(runtime));
    std::vector<std::jthread> everybody;
    for (int number = 0; number < clientCount; ++number) {
        everybody.emplace_back([this, number] { act(number); });
    }
    pressButtons();
    pressed.count_down();
    useRest(port);
    everybody.clear();

    RpcTestClient last(address);
    while (last.result("sequence.waiting").as_array().size() > 0) {
    }
    EXPECT_EQ(last.result("sequence.start", {{"name", "Read.xml"}}),
              json::value({{"handled", true}}));
    const json::value run = last.result("runs.list").as_array().back();
    EXPECT_EQ(run.at("client"), json::value(Platform::toUtf8(last.name)));
    EXPECT_TRUE(run.at("outcome").is_string());
    EXPECT_EQ(last.result("sequence.waiting").as_array().size(), 0U);
}

} // namespace Quarlen::Tests
