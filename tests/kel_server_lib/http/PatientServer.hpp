#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "kel_server_lib/http/HttpServer.hpp"
#include "platform/ListeningSocket.hpp"
#include "tests/support/TestSocket.hpp"

namespace Quarlen::Rest::Tests {

/// A server that waits so long for its clients. Longer than any machine is busy by default, so that
/// no limit of time decides what a test sees.
inline std::unique_ptr<HttpServer>
patientServer(HttpServerEnvironment environment = {},
              std::chrono::minutes patience = std::chrono::hours(1)) {
    environment.readingTime = [patience](std::size_t /*bytes*/) { return patience; };
    auto server = std::make_unique<HttpServer>(std::move(environment));
    server->set_read_timeout(patience);
    server->set_write_timeout(patience);
    return server;
}

/// Accepts a client for which the system keeps little of what it does not take, so that a reply
/// need not be huge to be too large for that.
inline Platform::Accepted acceptWithSmallBuffer(std::intptr_t listening) {
    const Platform::Accepted accepted = Platform::acceptConnection(listening);
    if (accepted.connection != Platform::noSocket) {
        Quarlen::Tests::limitSendBuffer(accepted.connection);
    }
    return accepted;
}
constexpr std::size_t moreThanTheSystemKeeps = 3'000'000;

} // namespace Quarlen::Rest::Tests
