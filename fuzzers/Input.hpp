#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "uds/Uds.hpp"

namespace Fuzzers {

/// What a fuzzer plays, taken piece by piece. At its end there are zeros and empty messages.
class Input {
public:
    explicit Input(std::span<const std::uint8_t> bytes) : rest(bytes) {}

    [[nodiscard]] bool atEnd() const { return rest.empty(); }
    std::uint8_t number() {
        const auto bytes = take(1);
        return bytes.empty() ? std::uint8_t{0} : bytes[0];
    }
    /// A length and so many bytes, or what is left of them.
    Quarlen::Uds::Bytes message() {
        const auto length = number();
        return take(length);
    }

private:
    Quarlen::Uds::Bytes take(std::size_t count) {
        const auto part = rest.first(std::min(count, rest.size()));
        rest = rest.subspan(part.size());
        return {part.begin(), part.end()};
    }

    std::span<const std::uint8_t> rest;
};

} // namespace Fuzzers
