#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_cpp/NetworkVehicle.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/TestPaths.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;

constexpr const char* red = "255 0 0";
constexpr const char* green = "0 255 0";

constexpr const char* connectToTheVehicle =
    "<SelectAction project='Car_DEMO0000000042' vehicleInformation='VIT_A' autoConnect='true'/>";
constexpr const char* slow = "<ExecuteAction command='Otx_Slow'/>";
constexpr const char* readIdent = "<ExecuteAction command='Otx_ReadIdent'/>";

/// Before the slow procedure would end by itself, however busy the machine is.
constexpr std::chrono::seconds soon{90};

/// Real time, but nobody waits long between two looks.
class HurriedClock : public Platform::Clock {
public:
    void sleepFor(std::chrono::milliseconds /*duration*/) override {
        ++sleeps;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    [[nodiscard]] TimePoint now() const override { return std::chrono::steady_clock::now(); }

    std::atomic<int> sleeps{0};
};

/// Sequences on the built-in runtime with the example configuration, with its simulated vehicle and
/// with the same one in the network, but "Otx_Slow" takes a hundred
/// seconds: far more than what is left of it once somebody ends it.
class SequenceOnRuntime : public Kel_cpp::Tests::RuntimeFixture,
                          public testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        if (GetParam() == "DoIP") {
            vehicle.emplace(folder).use(folder);
        }
        letSlowLast("10000", "100000");
        useRealTime();
        for (const char* const colour : {"red", "green", "blue"}) {
            writeBeside(std::string("leds/2.") + colour + "/brightness", "-");
        }
        writeScript("Slow.xml", std::string(connectToTheVehicle) + slow + readIdent);
        writeScript("ReadIdent.xml", std::string(connectToTheVehicle) + readIdent);
    }

    void letSlowLast(const std::string& former, const std::string& milliseconds) const {
        folder.replaceIn("projects/Car_DEMO0000000042/project.xml",
                         "milliseconds=\"" + former + "\"",
                         "milliseconds=\"" + milliseconds + "\"");
    }
    void writeBeside(const std::string& name, const std::string& content) const {
        folder.write(std::filesystem::path("..") / name, content);
    }
    void writeScript(const std::string& name, const std::string& actions) const {
        folder.write("KelServerScripts/" + name,
                     "<KelServerScript>" + actions + "</KelServerScript>");
    }

    [[nodiscard]] SequenceEnvironment environment() {
        const DevicePaths devices{.ledPrefix = (folder.base() / "leds/2.").string(),
                                  .f1Sensor = (folder.base() / "f1").string(),
                                  .f2Sensor = (folder.base() / "f2").string()};
        return {.clock = hurried,
                .console = console,
                .devices = devices,
                .configPath = StdUtil::PathString(folder.config())};
    }

    std::jthread runOnAThread(const std::wstring& script) {
        return std::jthread([this, script] { handler->runSequence(script, runtime); });
    }

    void waitForAJob() const {
        while (handler->currentJobId == 0) {
            std::this_thread::yield();
        }
    }

    /// A button's thread, the only one that sleeps meanwhile, has read its sensor often enough.
    void waitForBackground() const {
        constexpr int readings = 10;
        while (hurried.sleeps <= readings) {
            std::this_thread::yield();
        }
    }

    /// Destroys the handler while a button runs the slow procedure; true when that was the run's
    /// last one.
    bool waitsForAProcedure(const std::string& former, const std::string& milliseconds) {
        const TraceCapture traces;
        letSlowLast(former, milliseconds);
        restart();
        handler = std::make_unique<ServerHandlerSequence>(environment());
        hurried.sleeps = 0;
        writeBeside("f1", "1000\n");
        handler->startF1ScriptThread(L"Slow.xml", runtime);
        waitForBackground();
        writeBeside("f1", "9000\n");
        // The slow procedure may come and go unseen; the next one then follows.
        while (handler->currentJobId == 0 && runs(traces, L"Otx_ReadIdent") == 0) {
            std::this_thread::yield();
        }

        handler.reset();

        EXPECT_EQ(runs(traces, L"Otx_Slow"), 1);
        return runs(traces, L"Otx_ReadIdent") == 0;
    }

    [[nodiscard]] std::string ledColour() const {
        return folder.read("../leds/2.red/brightness") + ' ' +
               folder.read("../leds/2.green/brightness") + ' ' +
               folder.read("../leds/2.blue/brightness");
    }
    [[nodiscard]] static std::ptrdiff_t runs(const TraceCapture& traces,
                                             const std::wstring& procedure) {
        const auto texts = traces.texts();
        return std::count(texts.begin(), texts.end(), L"kel_server::execute: " + procedure);
    }

    /// Whoever is connected is so over the link of the test.
    void expectConnectedOverItsLink() {
        EXPECT_EQ(vehicle ? vehicle->testers() : 0U, vehicle ? 1U : 0U);
    }

    std::optional<Kel_cpp::Tests::NetworkVehicle> vehicle;
    HurriedClock hurried;
    std::ostringstream output;
    Platform::Console console{output};
    std::unique_ptr<ServerHandlerSequence> handler =
        std::make_unique<ServerHandlerSequence>(environment());
};

} // namespace

TEST_P(SequenceOnRuntime, ACancelDuringAProcedureEndsTheRun) {
    const TraceCapture traces;
    auto run = runOnAThread(L"Slow.xml");
    waitForAJob();
    bool handled = false;

    const auto begin = hurried.now();
    handler->cancelSequence(runtime, nullptr, handled);
    run.join();

    EXPECT_LT(hurried.now() - begin, soon);
    EXPECT_TRUE(handled);
    EXPECT_EQ(runs(traces, L"Otx_ReadIdent"), 0);
    EXPECT_EQ(handler->currentJobId, 0U);
    EXPECT_FALSE(handler->stopRequested);
    EXPECT_EQ(runtime->getSelectedProjectName(), L"");
    EXPECT_EQ(runtime->serverStatus().text, L"Idle");
}

TEST_P(SequenceOnRuntime, RunsAgainAfterACancel) {
    auto run = runOnAThread(L"Slow.xml");
    waitForAJob();
    bool handled = false;
    handler->cancelSequence(runtime, nullptr, handled);
    run.join();

    handler->runSequence(L"ReadIdent.xml", runtime);

    EXPECT_EQ(ledColour(), green);
    EXPECT_EQ(runtime->getSelectedProjectName(), L"Car_DEMO0000000042");
    expectConnectedOverItsLink();
}

TEST_P(SequenceOnRuntime, AnAbortDuringAProcedureLetsTheWalkGoOn) {
    const TraceCapture traces;
    writeScript("Slow.xml",
                std::string(connectToTheVehicle) + slow + "<SelectAction project='VIN_Reader'/>");
    auto run = runOnAThread(L"Slow.xml");
    waitForAJob();

    const auto begin = hurried.now();
    handler->abortSequence(runtime);
    run.join();

    EXPECT_LT(hurried.now() - begin, soon);
    EXPECT_THAT(traces.texts(), Contains(L"<- runExecuteAction"));
    EXPECT_EQ(std::ranges::count(traces.texts(), L"-> runSelectAction"), 2);
    EXPECT_THAT(ledColour(), AnyOf(green, red));
    EXPECT_EQ(handler->currentJobId, 0U);
}

TEST_P(SequenceOnRuntime, DestructionWaitsForTheRunOfAButton) {
    // A busy machine may end a short procedure before it comes to the destruction.
    EXPECT_TRUE(waitsForAProcedure("100000", "1000") || waitsForAProcedure("1000", "4000") ||
                waitsForAProcedure("4000", "16000"));

    EXPECT_EQ(runtime->serverStatus().text, L"Idle");
    EXPECT_EQ(runtime->getSelectedProjectName(), L"");
    EXPECT_EQ(runtime.use_count(), 1);
}

TEST_P(SequenceOnRuntime, TwoRunsAtOnceHappenOneAfterTheOther) {
    const TraceCapture traces;
    {
        const auto first = runOnAThread(L"ReadIdent.xml");
        const auto second = runOnAThread(L"ReadIdent.xml");
    }

    std::vector<std::wstring> frame;
    std::ranges::copy_if(traces.texts(), std::back_inserter(frame), [](const auto& text) {
        return text.ends_with(L"- Running sequence: ReadIdent.xml") ||
               text.ends_with(L"> Running sequence: ReadIdent.xml");
    });
    EXPECT_EQ(frame, (std::vector<std::wstring>{L"-> Running sequence: ReadIdent.xml",
                                                L"<- Running sequence: ReadIdent.xml",
                                                L"-> Running sequence: ReadIdent.xml",
                                                L"<- Running sequence: ReadIdent.xml"}));
    EXPECT_EQ(runs(traces, L"Otx_ReadIdent"), 2);
    EXPECT_EQ(ledColour(), green);
}

TEST_P(SequenceOnRuntime, ATruncatedContainerDoesNotKeepTheGoodDataFromBeingFlashed) {
    if (!vehicle) {
        usedClock = &clock;
        restart();
    }
    const auto data = folder.config() / "data" / "flashdata";
    std::filesystem::create_directories(data);
    std::filesystem::copy(flashDataFolder(), data);
    std::filesystem::copy(data / "engine.pdx", data / "broken.zip");
    std::filesystem::resize_file(data / "broken.zip", 5000);
    const TraceCapture traces;

    handler->runSequence(L"Flash.xml", runtime);

    EXPECT_EQ(ledColour(), green);
    expectConnectedOverItsLink();
    EXPECT_THAT(traces.texts(), Contains(HasSubstr(L"broken.zip\": not a readable archive: ")));
    const auto version = hexService(L"UDS_CAN_ENGINE", {0x22, 0xF1, 0x95});
    const auto& answer = version->responses.at(0)->data;
    EXPECT_EQ(std::string(answer.begin() + 3, answer.end()), "EN_02.00.00");
}

INSTANTIATE_TEST_SUITE_P(Links, SequenceOnRuntime, testing::Values("Simulation", "DoIP"),
                         [](const auto& link) { return link.param; });

} // namespace Quarlen::Tests
