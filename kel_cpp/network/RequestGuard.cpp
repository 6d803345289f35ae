#include "kel_cpp/network/RequestGuard.hpp"

#include <algorithm>

namespace Quarlen::Kel_cpp {

namespace {

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return text;
}

/// A host without a port means port 80.
bool isOwnHost(const std::string& host, const OwnNames& own) {
    const std::string name = lowerCase(host);
    return std::any_of(own.hosts.begin(), own.hosts.end(), [&](const std::string& each) {
        const std::string known = lowerCase(each);
        return name == known + ":" + own.port || (own.port == "80" && name == known);
    });
}

} // namespace

std::string refusalOf(const RequestOrigin& request, const OwnNames& own) {
    if (!isOwnHost(request.host, own)) {
        return "this server is not \"" + request.host + "\"";
    }
    if (!request.origin.empty() &&
        lowerCase(request.origin) != "http://" + lowerCase(request.host)) {
        return "pages of \"" + request.origin + "\" may not use this server";
    }
    return {};
}

} // namespace Quarlen::Kel_cpp
