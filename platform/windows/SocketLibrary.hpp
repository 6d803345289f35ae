#pragma once

#include <winsock2.h>

namespace Quarlen::Platform {

/// Starts the socket library, which answers only after that.
class SocketLibrary {
public:
    SocketLibrary() { started = ::WSAStartup(MAKEWORD(2, 2), &data) == 0; }
    SocketLibrary(const SocketLibrary&) = delete;
    SocketLibrary& operator=(const SocketLibrary&) = delete;
    ~SocketLibrary() {
        if (started) {
            ::WSACleanup();
        }
    }

    [[nodiscard]] bool isStarted() const noexcept { return started; }

private:
    WSADATA data{};
    bool started = false;
};

} // namespace Quarlen::Platform
