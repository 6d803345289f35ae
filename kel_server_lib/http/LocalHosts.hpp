#pragma once

#include <string_view>

namespace httplib {
struct Request;
} // namespace httplib

namespace Quarlen::Rest {

/// Whether the authority of a URL, a host with or without a port, names the machine itself:
/// "localhost", an address 127.x.x.x or [::1].
[[nodiscard]] bool isLocalAuthority(std::string_view authority);

/// Whether a web page of another site may have caused the request: the request says so itself, or
/// names another host than this machine, as a browser does for a page whose name has been made to
/// resolve to this machine's address. A request that names no host does not come from a browser.
[[nodiscard]] bool isOfAnotherSite(const httplib::Request& request);

} // namespace Quarlen::Rest
