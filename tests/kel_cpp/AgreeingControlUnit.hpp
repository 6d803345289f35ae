#pragma once

#include "uds/Uds.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// What a control unit answers that takes every reprogramming: it has nothing to unlock, takes
/// blocks of eight bytes, and every routine succeeds.
inline Uds::Bytes agreeTo(const Uds::Bytes& request) {
    switch (request[0]) {
    case 0x22:
        return {0x62, request[1], request[2], 0x00};
    case 0x27:
        return {0x67, request[1], 0x00, 0x00};
    case 0x2E:
        return {0x6E, request[1], request[2]};
    case 0x31:
        return {0x71, request[1], request[2], request[3], 0x00};
    case 0x34:
        return {0x74, 0x20, 0x00, 0x0A};
    default:
        return {static_cast<std::uint8_t>(request[0] + Uds::positiveResponseOffset),
                request.size() > 1 ? request[1] : std::uint8_t{0}};
    }
}

} // namespace Quarlen::Kel_cpp::Tests
