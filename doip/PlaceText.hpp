#pragma once

#include <string>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Doip {

/// "127.0.0.1:13400", "[::1]:13400".
[[nodiscard]] inline std::wstring placeText(const std::string& host, int port) {
    const std::wstring text = Platform::fromUtf8(host);
    const bool isIpv6 = host.find(':') != std::string::npos;
    return (isIpv6 ? L"[" + text + L"]" : text) + L":" + std::to_wstring(port);
}

} // namespace Quarlen::Doip
