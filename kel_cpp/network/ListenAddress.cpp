#include "kel_cpp/network/ListenAddress.hpp"

#include <algorithm>
#include <string_view>
#include <system_error>

#include <boost/asio/ip/address_v4.hpp>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {
namespace {

constexpr std::wstring_view plainScheme = L"http://";
constexpr std::wstring_view secureScheme = L"https://";
constexpr std::uint16_t plainSchemePort = 80;
constexpr std::uint32_t maxPort = 65535;
constexpr std::wstring_view digits = L"0123456789";

bool startsWithScheme(std::wstring_view text, std::wstring_view scheme) {
    return text.size() >= scheme.size() &&
           std::equal(scheme.begin(), scheme.end(), text.begin(), [](wchar_t want, wchar_t have) {
               return want == have || (want >= L'a' && want <= L'z' && have == want - L'a' + L'A');
           });
}

std::wstring quoted(std::wstring_view text) {
    return L"\"" + std::wstring(text) + L"\"";
}

KelApiException portError(const std::wstring& address, std::wstring_view text) {
    return listenError(address,
                       L"the port is " + quoted(text) + L", expected a number from 1 to 65535");
}

std::uint16_t parsePort(const std::wstring& address, std::wstring_view text) {
    constexpr std::size_t maxDigits = 5;
    if (text.empty() || text.size() > maxDigits ||
        text.find_first_not_of(digits) != std::wstring_view::npos) {
        throw portError(address, text);
    }
    std::uint32_t port = 0;
    for (const wchar_t digit : text) {
        port = port * 10 + static_cast<std::uint32_t>(digit - L'0');
    }
    if (port > maxPort) {
        throw portError(address, text);
    }
    return static_cast<std::uint16_t>(port);
}

std::wstring checkedHost(const std::wstring& address, std::wstring_view host) {
    const auto isStrange = [](wchar_t unit) {
        return unit <= L' ' || std::wstring_view(L":/\\?#@[]\"<>").find(unit) != std::wstring::npos;
    };
    if (host.empty()) {
        throw listenError(address,
                          L"the host is missing; a command line names it first, before all "
                          L"options, in UTF-8");
    }
    if (host.front() == L'-') {
        throw listenError(address, L"the host " + quoted(host) +
                                       L" starts like an option; no option is spelled so, and the "
                                       L"host comes first");
    }
    if (std::any_of(host.begin(), host.end(), isStrange)) {
        throw listenError(address, L"the host " + quoted(host) +
                                       L" is no IPv4 address, host name or adapter name");
    }
    return std::wstring(host);
}

ListenAddress parseUrl(const std::wstring& address) {
    std::wstring_view rest = std::wstring_view(address).substr(plainScheme.size());
    if (rest.ends_with(L'/')) {
        rest.remove_suffix(1);
    }
    const std::size_t colon = rest.rfind(L':');
    if (colon == std::wstring_view::npos) {
        return {checkedHost(address, rest), plainSchemePort};
    }
    return {checkedHost(address, rest.substr(0, colon)),
            parsePort(address, rest.substr(colon + 1))};
}

bool isIpv4(const std::wstring& host) {
    boost::system::error_code error;
    boost::asio::ip::make_address_v4(Platform::toUtf8(host), error);
    return !error && !host.empty();
}

} // namespace

KelApiException listenError(const std::wstring& address, const std::wstring& cause) {
    return runtimeError(ErrorCode::Server, L"cannot listen on \"" + address + L"\": " + cause);
}

ListenAddress parseServerAddress(const std::wstring& address) {
    if (startsWithScheme(address, secureScheme)) {
        throw listenError(address, L"encrypted connections (https) are not supported");
    }
    if (startsWithScheme(address, plainScheme)) {
        return parseUrl(address);
    }
    const std::size_t colon = address.rfind(L':');
    if (colon == std::wstring::npos) {
        throw listenError(address, L"the port is missing; expected host:port");
    }
    const std::wstring_view text = address;
    return {checkedHost(address, text.substr(0, colon)),
            parsePort(address, text.substr(colon + 1))};
}

void requireFixedPort(const std::wstring& address) {
    if (parseServerAddress(address).port == 0) {
        throw listenError(address,
                          L"the port is 0, expected a number from 1 to 65535; on a command "
                          L"line a port text that does not begin with a number counts as 0");
    }
}

HostMeaning interpretHost(const std::wstring& host,
                          const std::vector<Platform::NetworkAdapter>& adapters) {
    if (isIpv4(host)) {
        return {host, false};
    }
    const auto named = std::find_if(adapters.begin(), adapters.end(), [&](const auto& adapter) {
        return adapter.systemName == host && !host.empty();
    });
    if (named != adapters.end()) {
        return {named->up ? named->firstIpv4Address : std::wstring(), false};
    }
    if (Platform::isAdapterName(host)) {
        return {Platform::chooseAdapterAddress(host, adapters), false};
    }
    // Resolvers read "1.2.3" as 1.2.0.3, which the user hardly means.
    const bool isNumeric = host.find_first_not_of(L"0123456789.") == std::wstring::npos;
    return {std::wstring(), !isNumeric};
}

} // namespace Quarlen::Kel_cpp
