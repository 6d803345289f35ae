#include "tests/kel_server_lib/rest/RestFixture.hpp"

#include <httplib.h>

namespace Quarlen::Tests {

HttpReply request(std::uint16_t port, const std::string& method, const std::string& path,
                  const std::string& body, const std::string& address) {
    httplib::Client client(address, port);
    client.set_read_timeout(std::chrono::seconds(30));
    client.set_path_encode(false);
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    const httplib::Result result = client.send(request);
    if (!result) {
        return {};
    }
    return {result->status,
            result->reason,
            result->body,
            {result->headers.begin(), result->headers.end()}};
}

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
