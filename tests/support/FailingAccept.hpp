#pragma once

#include <cstdint>
#include <deque>
#include <system_error>
#include <vector>

#include "platform/ListeningSocket.hpp"

namespace Quarlen::Tests {

/// The system, but the first waits for a client fail as they are told to.
class FailingAccept {
public:
    explicit FailingAccept(const std::vector<int>& codes) : codes(codes.begin(), codes.end()) {}

    Platform::Accepted operator()(std::intptr_t listening) {
        if (codes.empty()) {
            return Platform::acceptConnection(listening);
        }
        const int code = codes.front();
        codes.pop_front();
        return {.error = {code, std::system_category()}};
    }

private:
    std::deque<int> codes;
};

} // namespace Quarlen::Tests
