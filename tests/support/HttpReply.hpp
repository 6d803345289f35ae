#pragma once

#include <cstdint>
#include <map>
#include <string>

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

/// Sends a request on a connection of its own.
HttpReply request(std::uint16_t port, const std::string& method, const std::string& path,
                  const std::string& body = {}, const std::string& address = "127.0.0.1");

} // namespace Quarlen::Tests
