#include "platform/FreeAddress.hpp"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <string>
#include <sys/socket.h>

#include "platform/ListeningSocket.hpp"
#include "platform/linux/Descriptor.hpp"
#include "platform/linux/ListenerTable.hpp"

namespace Quarlen::Platform {

namespace {

constexpr std::size_t ipv4Digits = 8;
constexpr int hexadecimal = 16;

/// The kernel writes the address as a number of the machine.
std::string dotted(const std::string& digits) {
    in_addr address{};
    address.s_addr = static_cast<in_addr_t>(std::stoul(digits, nullptr, hexadecimal));
    std::array<char, INET_ADDRSTRLEN> text{};
    return ::inet_ntop(AF_INET, &address, text.data(), static_cast<socklen_t>(text.size()));
}

/// The IPv4 address of eight or 32 digits; empty for one of IPv6 alone.
std::string ipv4Of(const std::string& digits) {
    const bool isMapped = digits.starts_with("0000000000000000FFFF0000");
    const bool isAny = digits.find_first_not_of('0') == std::string::npos;
    return digits.size() == ipv4Digits || isMapped || isAny
               ? dotted(digits.substr(digits.size() - ipv4Digits))
               : std::string();
}

std::string textOf(const char* file) {
    const std::ifstream stream(file);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace

void appendListeners(const std::string& table, std::vector<SocketAddress>& listening) {
    constexpr const char* listenState = "0A";
    std::istringstream lines(table);
    std::string line;
    std::getline(lines, line); // the heading
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string number;
        std::string local;
        std::string remote;
        std::string state;
        words >> number >> local >> remote >> state;
        const std::size_t colon = local.find(':');
        if (state == listenState && colon != std::string::npos && colon >= ipv4Digits) {
            listening.push_back(
                {ipv4Of(local.substr(0, colon)),
                 static_cast<int>(std::stoul(local.substr(colon + 1), nullptr, hexadecimal))});
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
