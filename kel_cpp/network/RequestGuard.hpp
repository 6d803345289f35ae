#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Quarlen::Kel_cpp {

/// What of a request tells who sends it.
struct RequestOrigin {
    /// The connection comes from this machine.
    bool fromLoopback = false;
    /// A proxy says that it passes the request on for somebody else (`Forwarded`, RFC 7239, or
    /// `X-Forwarded-For`).
    bool forwarded = false;
    /// The header `Host`; empty when there is none.
    std::string host;
    /// The header `Origin`, which browsers send; empty when there is none.
    std::string origin;
};

/// The names under which a connection was reached: its own address, the host that the server was
/// started on, the name of this machine, and "localhost" on a loopback address.
struct OwnNames {
    std::vector<std::string> hosts;
    std::string port;
};

/// Why the request is refused, or an empty text. A name that is not the server's own comes from a
/// page whose host was rebound to this address; an origin that is not the server from a page of
/// somebody else.
std::string refusalOf(const RequestOrigin& request, const OwnNames& own);

/// Whether the request comes from this machine itself, where everybody may do all.
[[nodiscard]] inline bool isLocal(const RequestOrigin& request) {
    return request.fromLoopback && !request.forwarded;
}

} // namespace Quarlen::Kel_cpp
