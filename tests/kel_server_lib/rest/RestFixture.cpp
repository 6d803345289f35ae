#include "tests/kel_server_lib/rest/RestFixture.hpp"

#include "tests/kel_server_lib/http/PatientServer.hpp"

namespace Quarlen::Tests {

RestFixture::RestFixture()
    : handler(std::make_shared<ServerHandlerSequence>(sequenceEnvironment())),
      rest(std::make_unique<RESTServer>(stopRequested, handler, true, environment())) {}

Platform::AddressProbe RestFixture::probe() const {
    return {.listening = [this] {
        return std::vector<Platform::SocketAddress>{{.host = "127.0.0.1", .port = port}};
    }};
}

RestEnvironment RestFixture::environment() {
    return {.clock = clock,
            .console = console,
            .port = port,
            .makeServer = [] { return Rest::Tests::patientServer(); },
            .probe = probe()};
}

SequenceEnvironment RestFixture::sequenceEnvironment() {
    const DevicePaths devices{.ledPrefix = (folder.path() / "leds/2.").string(),
                              .f1Sensor = (folder.path() / "f1").string(),
                              .f2Sensor = (folder.path() / "f2").string()};
    return {.clock = clock,
            .console = console,
            .devices = devices,
            .configPath = StdUtil::PathString(folder.path() / "config")};
}

} // namespace Quarlen::Tests
