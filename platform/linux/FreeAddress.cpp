#include "platform/FreeAddress.hpp"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <netinet/in.h>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include "platform/ListeningSocket.hpp"
#include "platform/linux/Descriptor.hpp"
#include "platform/linux/ListenerTable.hpp"

namespace Quarlen::Platform {

namespace {

constexpr std::size_t ipv4Digits = 8;
constexpr int hexadecimal = 16;

/// Nothing where there is anything but hexadecimal digits, or too many of them.
template <class Number>
std::optional<Number> numberOf(std::string_view digits) {
    Number number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, failure] = std::from_chars(digits.data(), end, number, hexadecimal);
    return failure == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// The kernel writes the address as a number of the machine.
std::optional<std::string> dotted(std::string_view digits) {
    const auto number = numberOf<in_addr_t>(digits);
    if (!number) {
        return std::nullopt;
    }
    in_addr address{};
    address.s_addr = *number;
    std::array<char, INET_ADDRSTRLEN> text{};
    return ::inet_ntop(AF_INET, &address, text.data(), static_cast<socklen_t>(text.size()));
}

/// The IPv4 address of eight or 32 digits; empty for one of IPv6 alone.
std::optional<std::string> ipv4Of(std::string_view digits) {
    const bool isMapped = digits.starts_with("0000000000000000FFFF0000");
    const bool isAny = digits.find_first_not_of('0') == std::string_view::npos;
    return digits.size() == ipv4Digits || isMapped || isAny
               ? dotted(digits.substr(digits.size() - ipv4Digits))
               : std::string();
}

/// What a row of the table says; nothing where it is not that of a listener, or malformed.
std::optional<SocketAddress> listenerOf(const std::string& row) {
    constexpr const char* listenState = "0A";
    std::istringstream words(row);
    std::string number;
    std::string local;
    std::string remote;
    std::string state;
    words >> number >> local >> remote >> state;
    const std::size_t colon = local.find(':');
    if (state != listenState || colon == std::string::npos || colon < ipv4Digits) {
        return std::nullopt;
    }
    const std::string_view address = local;
    const auto host = ipv4Of(address.substr(0, colon));
    const auto port = numberOf<std::uint16_t>(address.substr(colon + 1));
    return host && port ? std::optional(SocketAddress{*host, *port}) : std::nullopt;
}

std::string textOf(const char* file) {
    const std::ifstream stream(file);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace

void appendListeners(const std::string& table, std::vector<SocketAddress>& listening) {
    std::istringstream rows(table);
    std::string row;
    std::getline(rows, row); // the heading
    while (std::getline(rows, row)) {
        if (auto listener = listenerOf(row)) {
            listening.push_back(std::move(*listener));
        }
    }
}

std::optional<std::vector<SocketAddress>> listeningAddresses() {
    const std::string table = textOf("/proc/net/tcp");
    if (table.empty()) {
        return std::nullopt;
    }
    std::vector<SocketAddress> listening;
    appendListeners(table, listening);
    appendListeners(textOf("/proc/net/tcp6"), listening);
    return listening;
}

std::error_code tryToBind(const SocketAddress& address) noexcept {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(static_cast<std::uint16_t>(address.port));
    if (::inet_pton(AF_INET, address.host.c_str(), &target.sin_addr) != 1) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    const Descriptor probe(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    bindExclusively(probe.get());
    if (::bind(probe.get(), reinterpret_cast<const sockaddr*>(&target), sizeof target) != 0) {
        return {errno, std::system_category()};
    }
    return {};
}

bool isTaken(const std::error_code& error) noexcept {
    return error.value() == EADDRINUSE;
}

} // namespace Quarlen::Platform
