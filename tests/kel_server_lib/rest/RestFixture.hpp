#pragma once

#include <atomic>
#include <memory>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_server_lib/rest/RESTServer.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/support/HttpReply.hpp"
#include "tests/support/ImpatientClock.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/RawClient.hpp"
#include "tests/support/RecordingKelApi.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

constexpr const char* healthRequest = "GET /kel/v1/health HTTP/1.1\r\nHost: localhost\r\n\r\n";

/// The REST server on a free port with a recording runtime behind it. Starts at `start`.
class RestFixture : public testing::Test {
protected:
    RestFixture();

    void start() { ASSERT_TRUE(rest->start(api)); }
    /// What was printed; to be asked for while the listener prints nothing: up to `start` and after
    /// `stop`.
    [[nodiscard]] std::string printed() const { return output.str(); }
    [[nodiscard]] RestEnvironment environment();
    /// Somebody listens on the port where it is taken. The system's own table takes Wine many
    /// seconds while the machine has thousands of connections.
    [[nodiscard]] Platform::AddressProbe probe() const;
    [[nodiscard]] SequenceEnvironment sequenceEnvironment();

    HttpReply get(const std::string& path) const { return request(port, "GET", path); }
    HttpReply put(const std::string& path, const std::string& body = {}) const {
        return request(port, "PUT", path, body);
    }
    [[nodiscard]] RawClient connect() const { return RawClient(port); }

    const std::uint16_t port = freePort();
    const std::string url = "http://localhost:" + std::to_string(port);
    TemporaryFolder folder;
    ImpatientClock clock;
    std::ostringstream output;
    Platform::Console console{output};
    std::shared_ptr<RecordingKelApi> api = std::make_shared<RecordingKelApi>();
    std::atomic<bool> stopRequested{false};
    std::shared_ptr<ServerHandlerSequence> handler;
    std::unique_ptr<RESTServer> rest;
};

} // namespace Quarlen::Tests
