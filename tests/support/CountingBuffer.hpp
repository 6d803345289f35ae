#pragma once

#include <sstream>

namespace Quarlen::Tests {

/// Counts how often the stream that writes into it is flushed.
class CountingBuffer : public std::stringbuf {
public:
    int flushes = 0;

protected:
    int sync() override {
        ++flushes;
        return std::stringbuf::sync();
    }
};

} // namespace Quarlen::Tests
