#include "tests/support/LoopbackPort.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace Quarlen::Tests {

namespace {

int checked(int result, const char* operation) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
    return result;
}

/// A socket on a loopback port that the system chooses.
int boundSocket() {
    const int socket = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    checked(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    return socket;
}

std::uint16_t portOf(int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    checked(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

} // namespace

std::uint16_t freePort() {
    const int socket = boundSocket();
    const std::uint16_t port = portOf(socket);
    ::close(socket);
    return port;
}

TakenPort::TakenPort() : socket(boundSocket()), port(portOf(socket)) {
    checked(::listen(socket, 1), "listen");
}

TakenPort::~TakenPort() {
    ::close(socket);
}

} // namespace Quarlen::Tests
