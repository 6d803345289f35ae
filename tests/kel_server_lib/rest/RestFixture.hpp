#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_server_lib/rest/RESTServer.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/RawClient.hpp"
#include "tests/support/RecordingKelApi.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

/// A reply as a client sees it. Without a reply the status is 0 and the reason says why.
struct HttpReply {
    int status = 0;
    std::string reason;
    std::string body;
    std::multimap<std::string, std::string> headers;

    [[nodiscard]] std::string header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? std::string() : found->second;
    }
};

constexpr const char* healthRequest = "GET /kel/v1/health HTTP/1.1\r\nHost: localhost\r\n\r\n";

/// Sends a request on a connection of its own.
HttpReply request(std::uint16_t port, const std::string& method, const std::string& path,
                  const std::string& body = {}, const std::string& address = "127.0.0.1");

/// The real clock without its long pauses. A wait that does not end fails its test.
class ImpatientClock : public Platform::Clock {
public:
    void sleepFor(std::chrono::milliseconds /*duration*/) override {
        if (++sleeps > sleepLimit) {
            throw std::runtime_error("a wait did not end");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    [[nodiscard]] TimePoint now() const override { return std::chrono::steady_clock::now(); }

private:
    static constexpr int sleepLimit = 20'000;
    std::atomic<int> sleeps{0};
};

/// The REST server on a free port with a recording runtime behind it. Starts at `start`.
class RestFixture : public testing::Test {
protected:
    RestFixture();

    void start() { ASSERT_TRUE(rest->start(api)); }
    /// What was printed; to be asked for while the listener prints nothing: up to `start` and after
    /// `stop`.
    [[nodiscard]] std::string printed() const { return output.str(); }
    [[nodiscard]] RestEnvironment environment();
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
