#pragma once

#include <cstdint>
#include <string>

namespace Quarlen::Ctl {

/// Where a server is and what lets us in.
struct ServerPlace {
    std::string host = "127.0.0.1";
    /// Of the runtime's server, which speaks JSON-RPC.
    std::uint16_t port = 58000;
    /// Of the REST API.
    std::uint16_t restPort = 8011;
    /// Empty for none.
    std::string token;

    /// By its name: behind a tunnel it may be another machine all the same.
    [[nodiscard]] bool isLocal() const;
};

} // namespace Quarlen::Ctl
