#include "tests/support/AcceptErrors.hpp"

#include <winsock2.h>

namespace Quarlen::Tests {

std::vector<int> passingAcceptErrors() {
    return {WSAECONNRESET, WSAENOBUFS,   WSAEMFILE,      WSAENETDOWN, WSAECONNABORTED,
            WSAEINTR,      WSATRY_AGAIN, WSAEINPROGRESS, WSAEACCES};
}

std::vector<int> lastAcceptErrors() {
    return {WSAENOTSOCK, WSAEINVAL, WSAEOPNOTSUPP, WSANOTINITIALISED};
}

} // namespace Quarlen::Tests
