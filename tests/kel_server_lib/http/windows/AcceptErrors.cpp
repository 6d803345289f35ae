#include "tests/kel_server_lib/http/AcceptErrors.hpp"

#include <winsock2.h>

namespace Quarlen::Rest::Tests {

std::vector<int> passingAcceptErrors() {
    return {WSAECONNRESET, WSAENOBUFS,     WSAEMFILE,    WSAENETDOWN,   WSAECONNABORTED,
            WSAEINTR,      WSAEWOULDBLOCK, WSATRY_AGAIN, WSAEINPROGRESS};
}

std::vector<int> lastAcceptErrors() {
    return {WSAENOTSOCK, WSAEINVAL};
}

} // namespace Quarlen::Rest::Tests
