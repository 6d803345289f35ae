#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/kelctl/server/ServerPlace.hpp"

namespace Quarlen::Ctl {

struct HttpQuestion {
    std::string host;
    std::uint16_t port = 0;
    std::string method = "GET";
    /// Begins with a slash and is encoded.
    std::string target;
    /// JSON; empty for none.
    std::string body{};
    /// Sent where it is not empty.
    std::string token{};
    /// Of the whole exchange behind the connection.
    std::chrono::seconds patience{30};
};

inline constexpr unsigned httpOk = 200;

struct HttpAnswer {
    unsigned status = 0;
    std::string reason;
    std::string body;
};

/// Asks over a connection of its own. Throws `Failure` (NotReachable); every status is an answer.
HttpAnswer exchangeHttp(const HttpQuestion& question);

/// A report as the server has it. Throws `Failure`: NotReachable, or Refused with what the server
/// answers instead.
std::string fetchReport(const ServerPlace& place, const std::string& name);

/// A name as a part of a path (RFC 3986, 2.1).
std::string percentEncoded(const std::string& name);

} // namespace Quarlen::Ctl
