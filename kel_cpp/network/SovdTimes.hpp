#pragma once

#include <chrono>

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Kel_cpp {

/// How long the SOVD server waits for its clients.
struct SovdTimes {
    /// For the first byte of a request: a client that says nothing does not keep its worker.
    std::chrono::milliseconds silent{1000};
    /// From a request's first byte to its last, and for the client to take each part of the reply.
    std::chrono::milliseconds request{5000};
    /// For a client to read its last reply of so many bytes and to end its side.
    Platform::ReadingTime reading = Platform::readingTime;
};

} // namespace Quarlen::Kel_cpp
