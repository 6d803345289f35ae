#include "platform/ConnectionSocket.hpp"

#include <cerrno>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace Quarlen::Platform {

void neverWait(std::intptr_t socket) noexcept {
    int on = 1;
    ::ioctl(static_cast<int>(socket), FIONBIO, &on);
}

bool wouldHaveWaited() noexcept {
    return errno == EAGAIN;
}

void stopReading(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_RD);
}

void stopWriting(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_WR);
}

} // namespace Quarlen::Platform
