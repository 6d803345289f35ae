#include "tests/kel_server/ApplicationFixture.hpp"

#include <cstddef>
#include <stdexcept>

namespace Quarlen::Tests {

ApplicationFixture::ApplicationFixture()
    : environment{.getKelApi = [this] { return api; },
                  .clock = clock,
                  .console = console,
                  .openKeys = [] { return std::make_unique<ScriptedKeys>(""); }} {
    for (const std::string colour : {"red", "green", "blue"}) {
        folder.write("led/2." + colour + "/brightness", "0");
    }
    environment.sequence.devices.ledPrefix = (folder.path() / "led" / "2.").string();
    environment.sequence.devices.f1Sensor = (folder.path() / "f1").string();
    environment.sequence.devices.f2Sensor = (folder.path() / "f2").string();
    environment.sequence.configPath = StdUtil::PathString(folder.path());
    clock.onSleep([this](auto duration) { boundTheWaitForTheNetwork(duration); });
    options.nonInteractive = true;
    setArguments({L"10.0.0.5"});
}

void ApplicationFixture::configureAddress(const std::wstring& address, std::int32_t port) {
    auto entry = std::make_shared<Kel_cpp::ServerAddress>();
    entry->address = address;
    entry->port = port;
    api->serverConfiguration->serverAddresses.push_back(entry);
}

void ApplicationFixture::setArguments(const std::vector<std::wstring>& arguments) {
    options.arguments = {L"/opt/kel/kel_server"};
    options.argumentCount = 1;
    for (const std::wstring& argument : arguments) {
        options.arguments.at(options.argumentCount) = argument;
        ++options.argumentCount;
    }
}

int ApplicationFixture::runAndDestroy() {
    ServerApplication application(options, environment);
    return application.run();
}

bool ApplicationFixture::printedLine(const std::string& line) const {
    return ("\n" + printed()).find("\n" + line + "\n") != std::string::npos;
}

void ApplicationFixture::boundTheWaitForTheNetwork(std::chrono::milliseconds slept) const {
    constexpr std::size_t enough = 100;
    if (slept == std::chrono::milliseconds(3000) && clock.sleeps().size() > enough) {
        throw std::runtime_error("the wait for the network did not end");
    }
}

std::string ApplicationFixture::ledColour() const {
    return folder.read("led/2.red/brightness") + " " + folder.read("led/2.green/brightness") + " " +
           folder.read("led/2.blue/brightness");
}

} // namespace Quarlen::Tests
