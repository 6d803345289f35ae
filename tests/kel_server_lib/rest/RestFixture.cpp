#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

RestFixture::RestFixture()
    : handler(std::make_shared<ServerHandlerSequence>(sequenceEnvironment())),
      rest(std::make_unique<RESTServer>(stopRequested, handler, true, environment())) {}

RestEnvironment RestFixture::environment() {
    return {.clock = clock, .console = console, .port = port};
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
