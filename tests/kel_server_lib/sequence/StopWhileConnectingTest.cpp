#include <sstream>
#include <thread>

#include <gmock/gmock.h>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_cpp/SlowVehicle.hpp"

namespace Quarlen::Tests {

namespace {

/// A sequence on the built-in runtime that connects to a vehicle which never gets as far.
class StopWhileConnecting : public Kel_cpp::Tests::RuntimeFixture {
protected:
    void SetUp() override {
        Kel_cpp::RuntimeEnvironment environment{folder.config(), folder.base(), clock};
        environment.connectTo = [this](const auto&) { return vehicle; };
        runtime = std::make_shared<Kel_cpp::Runtime>(environment);
        runtime->initialize();
        folder.write("KelServerScripts/Connect.xml",
                     "<KelServerScript><SelectAction project='Car_DEMO0000000042' "
                     "vehicleInformation='VIT_A' autoConnect='true'/></KelServerScript>");
    }

    [[nodiscard]] SequenceEnvironment environment() {
        const DevicePaths devices{.ledPrefix = (folder.base() / "leds/2.").string(),
                                  .f1Sensor = (folder.base() / "f1").string(),
                                  .f2Sensor = (folder.base() / "f2").string()};
        return {.clock = Platform::systemClock(),
                .console = console,
                .devices = devices,
                .configPath = StdUtil::PathString(folder.config())};
    }

    std::jthread connectOnAThread() {
        std::jthread run([this] { handler->runSequence(L"Connect.xml", runtime); });
        vehicle->waitUntilOpening();
        return run;
    }

    std::shared_ptr<Kel_cpp::Tests::SlowVehicle> vehicle =
        std::make_shared<Kel_cpp::Tests::SlowVehicle>();
    std::ostringstream output;
    Platform::Console console{output};
    std::unique_ptr<ServerHandlerSequence> handler =
        std::make_unique<ServerHandlerSequence>(environment());
};

} // namespace

TEST_F(StopWhileConnecting, ACancelEndsTheRun) {
    auto run = connectOnAThread();
    bool handled = false;
    handler->cancelSequence(runtime, nullptr, handled);
    run.join();
    EXPECT_TRUE(handled);
    EXPECT_THAT(output.str(), testing::HasSubstr("was cancelled"));
}

TEST_F(StopWhileConnecting, AnAbortEndsTheConnect) {
    auto run = connectOnAThread();
    handler->abortSequence(runtime);
    run.join();
    EXPECT_THAT(output.str(), testing::HasSubstr("was cancelled"));
    EXPECT_EQ(runtime->getSelectedProjectName(), L"");
}

/// Whoever ends the program waits for the threads of the buttons.
TEST_F(StopWhileConnecting, TheEndOfTheScriptThreadsEndsTheConnectItself) {
    auto run = connectOnAThread();
    handler->stopScriptThreads();
    run.join();
    EXPECT_THAT(output.str(), testing::HasSubstr("was cancelled"));
}

} // namespace Quarlen::Tests
