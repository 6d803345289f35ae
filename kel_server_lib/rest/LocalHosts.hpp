#pragma once

#include <string_view>

namespace httplib {
struct Request;
} // namespace httplib

namespace Quarlen::Rest {

/// Whether the authority of a URL, a host with or without a port, names the machine itself:
/// "localhost", an address 127.x.x.x or [::1].
[[nodiscard]] bool isLocalAuthority(std::string_view authority);

/// Whether a web page of another site may be behind the request: it says so itself, or it names
/// another host than this machine, as a browser does for a page whose name somebody has made to
/// stand for this machine's address. A request that names no host is none of a browser.
[[nodiscard]] bool isOfAnotherSite(const httplib::Request& request);

} // namespace Quarlen::Rest
