#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

namespace Quarlen::Tests {

using namespace std::chrono_literals;

SequenceFixture::SequenceFixture()
    : owner(std::make_unique<ServerHandlerSequence>(environment())), handler(*owner) {
    api->activeConnections = {std::make_shared<Kel_cpp::ActiveConnection>()};
    api->jobId = 7;
    for (const char* const colour : {"red", "green", "blue"}) {
        folder.write(std::string("leds/2.") + colour + "/brightness", "-");
    }
}

SequenceEnvironment SequenceFixture::environment() {
    const DevicePaths devices{.ledPrefix = (folder.path() / "leds/2.").string(),
                              .f1Sensor = (folder.path() / "f1").string(),
                              .f2Sensor = (folder.path() / "f2").string()};
    return {
        .clock = clock,
        .console = console,
        .devices = devices,
        .configPath = StdUtil::PathString(folder.path() / "config"),
        .writeLed = [this](const auto& prefix, const auto& colour) { writeLed(prefix, colour); }};
}

void SequenceFixture::writeScript(const std::string& name, const std::string& actions,
                                  const std::string& rootAttributes) {
    folder.write("config/KelServerScripts/" + name,
                 "<KelServerScript " + rootAttributes + ">" + actions + "</KelServerScript>");
}

void SequenceFixture::writeF1Sensor(const std::string& content) {
    folder.write("f1", content);
}

void SequenceFixture::writeF2Sensor(const std::string& content) {
    folder.write("f2", content);
}

void SequenceFixture::holdHandOverF1Sensor() {
    writeF1Sensor("1000\n");
    clock.onSleep([this, passes = std::make_shared<std::atomic<int>>(0)](auto duration) {
        if (duration == 200ms && ++*passes == 10) {
            writeF1Sensor("9000\n");
        }
        std::this_thread::yield();
    });
}

void SequenceFixture::writeLed(const std::string& prefix, const LedColour& colour) {
    const std::string text = std::to_string(colour.red) + ' ' + std::to_string(colour.green) + ' ' +
                             std::to_string(colour.blue);
    if (ledHook) {
        ledHook(text);
    }
    {
        const std::lock_guard lock(ledMutex);
        ledLog.push_back(text);
    }
    setLed(prefix, colour);
}

SequenceFixture::Calls SequenceFixture::shownColours() const {
    const std::lock_guard lock(ledMutex);
    return ledLog;
}

bool SequenceFixture::runLockIsFree() {
    bool free = false;
    std::jthread([&] {
        free = handler.semaphore.try_lock();
        if (free) {
            handler.semaphore.unlock();
        }
    }).join();
    return free;
}

std::string SequenceFixture::ledColour() const {
    return folder.read("leds/2.red/brightness") + ' ' + folder.read("leds/2.green/brightness") +
           ' ' + folder.read("leds/2.blue/brightness");
}

} // namespace Quarlen::Tests
