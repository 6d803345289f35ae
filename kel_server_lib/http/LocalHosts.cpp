#include "kel_server_lib/http/LocalHosts.hpp"

#include <algorithm>
#include <optional>
#include <string>

#include <httplib.h>

#include "kel_server_lib/http/HeaderText.hpp"
#include "platform/LoopbackAddress.hpp"

namespace Quarlen::Rest {

namespace {

bool isPort(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char letter) { return letter >= '0' && letter <= '9'; });
}

/// `host` includes its brackets.
bool isLoopbackLiteral(std::string_view host) {
    return host.starts_with('[') && host.ends_with(']') &&
           Platform::isLoopbackIpv6(std::string(host.substr(1, host.size() - 2)));
}

bool isLocalHost(std::string_view host) {
    if (isLoopbackLiteral(host)) {
        return true;
    }
    if (host.ends_with('.')) {
        host.remove_suffix(1);
    }
    return isSameText(host, "localhost") || Platform::isLoopbackIpv4(std::string(host));
}

/// The authority of a target that is a whole URL; nothing for a target that begins with its path.
std::optional<std::string_view> authorityOf(std::string_view target) {
    constexpr std::string_view mark = "://";
    const std::size_t begin = target.find(mark);
    if (target.starts_with('/') || begin == std::string_view::npos) {
        return std::nullopt;
    }
    target.remove_prefix(begin + mark.size());
    const std::string_view authority = target.substr(0, target.find_first_of("/?#"));
    const std::size_t user = authority.rfind('@');
    return user == std::string_view::npos ? authority : authority.substr(user + 1);
}

bool namesAnotherHost(const httplib::Request& request) {
    // A target with an authority overrides the header (RFC 9112, 3.2.2).
    if (const auto authority = authorityOf(request.target)) {
        return !isLocalAuthority(*authority);
    }
    const auto [begin, end] = request.headers.equal_range("Host");
    return std::any_of(begin, end, [](const auto& header) {
        return !header.second.empty() && !isLocalAuthority(header.second);
    });
}

} // namespace

bool isLocalAuthority(std::string_view authority) {
    // Colons within brackets are part of the address.
    const std::size_t bracket = authority.starts_with('[') ? authority.find(']') : 0;
    const std::size_t colon = authority.find(':', bracket);
    if (colon == std::string_view::npos) {
        return isLocalHost(authority);
    }
    return isPort(authority.substr(colon + 1)) && isLocalHost(authority.substr(0, colon));
}

bool isOfAnotherSite(const httplib::Request& request) {
    return namesAnotherHost(request) || hasElement(request, "Sec-Fetch-Site", "cross-site");
}

} // namespace Quarlen::Rest
