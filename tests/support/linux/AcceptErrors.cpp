#include "tests/support/AcceptErrors.hpp"

#include <cerrno>

namespace Quarlen::Tests {

std::vector<int> passingAcceptErrors() {
    return {ECONNABORTED, EPROTO,    ENETDOWN,    ENOBUFS, ENFILE,     EMFILE,
            ENOMEM,       EPERM,     EINTR,       EAGAIN,  EOPNOTSUPP, EHOSTUNREACH,
            ENETUNREACH,  EHOSTDOWN, ENOPROTOOPT, ENONET,  ETIMEDOUT};
}

std::vector<int> lastAcceptErrors() {
    return {EBADF, EINVAL, ENOTSOCK};
}

} // namespace Quarlen::Tests
