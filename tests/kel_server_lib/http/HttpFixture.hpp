#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_server_lib/http/HttpServer.hpp"
#include "tests/kel_server_lib/http/PatientServer.hpp"
#include "tests/support/HttpReply.hpp"
#include "tests/support/RawClient.hpp"

namespace Quarlen::Rest::Tests {

constexpr const char* getRequest = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";

/// The HTTP server without the API, on a free port. What the test itself does not serve is answered
/// with the request's line and the size of its body: "PUT /path 12".
class HttpFixture : public testing::Test {
protected:
    using HttpReply = Quarlen::Tests::HttpReply;
    using RawClient = Quarlen::Tests::RawClient;

    /// Ends the server while what the fixtures of the tests lend it still lives.
    void TearDown() override;

    /// Once the server has begun to serve.
    void start();
    /// Ends the server; false when its listening socket had failed.
    bool stop();
    /// The same for a server that ends by itself.
    bool waitForEnd();

    [[nodiscard]] HttpReply get(const std::string& path = "/") const;
    [[nodiscard]] HttpReply put(const std::string& path, const std::string& body) const;
    [[nodiscard]] RawClient connect() const { return RawClient(port); }
    /// True when the server still serves somebody else.
    [[nodiscard]] bool servesAFurtherClient() const { return get().status == 200; }
    /// The same once its workers have noticed that they are free.
    [[nodiscard]] bool eventuallyServesAFurtherClient() const;
    /// A connection that has got its reply and stays.
    [[nodiscard]] RawClient connectIdle() const;

    /// Chosen by `start`.
    std::uint16_t port = 0;
    std::unique_ptr<HttpServer> server = patientServer();
    /// How many requests have reached a handler.
    std::atomic<int> handled{0};

private:
    std::atomic<bool> ended{false};
    bool wasStopped = false;
    std::thread listener;
};

} // namespace Quarlen::Rest::Tests
